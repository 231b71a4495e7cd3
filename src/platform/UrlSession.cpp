#include "platform/UrlSession.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>

namespace tessivo {
namespace {

// Characters a URL may hold as they are (RFC 3986 reserved and unreserved,
// plus '%' for escapes).
bool isUrlCharacter(QChar c)
{
    if (c.unicode() > 0x7E || c.unicode() <= 0x20)
        return false;
    static const QByteArray allowed = QByteArrayLiteral(
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?#[]@!$&'()*+,;=%");
    return allowed.contains(static_cast<char>(c.unicode()));
}

UrlError errorFor(QNetworkReply::NetworkError error, const QString &qtText)
{
    switch (error) {
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: // transfer timeout aborts this way
        return {-1001, QStringLiteral("The request timed out.")};
    case QNetworkReply::ConnectionRefusedError:
        return {-1004, QStringLiteral("Could not connect to the server.")};
    case QNetworkReply::HostNotFoundError:
        return {-1003, QStringLiteral("A server with the specified hostname could not be found.")};
    case QNetworkReply::RemoteHostClosedError:
        return {-1005, QStringLiteral("The network connection was lost.")};
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolInvalidOperationError:
        return {-1002, QStringLiteral("unsupported URL")};
    case QNetworkReply::SslHandshakeFailedError:
        return {-1200, QStringLiteral("An SSL error has occurred and a secure connection to the server cannot be made.")};
    default:
        return {-1, qtText.isEmpty() ? QStringLiteral("An unknown error occurred.") : qtText};
    }
}

} // namespace

std::optional<QUrl> urlFromString(const QString &text)
{
    if (text.isEmpty())
        return std::nullopt;
    for (QChar c : text) {
        if (!isUrlCharacter(c))
            return std::nullopt;
    }
    QUrl url(text, QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    return url;
}

QString percentEncodedQueryValue(const QString &value)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(value));
}

void UrlRequest::setValue(const QString &value, const QString &headerField)
{
    const QByteArray name = headerField.toUtf8();
    for (auto &h : headers) {
        if (qstricmp(h.first.constData(), name.constData()) == 0) {
            h.second = value.toUtf8();
            return;
        }
    }
    headers.append({name, value.toUtf8()});
}

std::optional<QByteArray> UrlRequest::value(const QByteArray &headerField) const
{
    for (const auto &h : headers) {
        if (qstricmp(h.first.constData(), headerField.constData()) == 0)
            return h.second;
    }
    return std::nullopt;
}

QString UrlError::description() const
{
    return QStringLiteral("Error Domain=URLErrorDomain Code=%1 \"%2\"")
        .arg(code)
        .arg(localizedDescription);
}

QString taskResultDescription(const std::optional<QByteArray> &data,
                              const std::optional<UrlResponse> &response,
                              const std::optional<UrlError> &error)
{
    const QString nil = QStringLiteral("nil");
    const QString dataText = data ? QStringLiteral("Optional(%1 bytes)").arg(data->size()) : nil;
    const QString responseText =
        response ? QStringLiteral("Optional(%1)").arg(response->description()) : nil;
    const QString errorText = error ? QStringLiteral("Optional(%1)").arg(error->description()) : nil;
    return dataText + QLatin1Char(' ') + responseText + QLatin1Char(' ') + errorText;
}

QString UrlResponse::description() const
{
    return QStringLiteral("<HTTPURLResponse URL: %1 status: %2>")
        .arg(url.toString(QUrl::FullyEncoded))
        .arg(statusCode);
}

struct UrlSession::Private {
    QThread ownThread;                   // the shared session's network thread
    QThread *thread = nullptr;           // the thread completions run on
    bool isShared = false;
    QObject *context = nullptr;          // lives on the network thread
    QNetworkAccessManager *manager = nullptr; // made on the network thread
};

UrlSession &UrlSession::shared()
{
    static UrlSession session{SharedTag{}};
    return session;
}

std::shared_ptr<UrlSession> UrlSession::makeSession()
{
    return std::shared_ptr<UrlSession>(new UrlSession(MadeTag{}));
}

UrlSession::UrlSession(SharedTag) : d(std::make_unique<Private>())
{
    d->isShared = true;
    d->thread = &d->ownThread;
    d->ownThread.setObjectName(QStringLiteral("tessivo.network"));
    d->context = new QObject;
    d->context->moveToThread(&d->ownThread);
    QObject::connect(&d->ownThread, &QThread::finished, d->context, &QObject::deleteLater);
    d->ownThread.start();
}

UrlSession::UrlSession(MadeTag) : d(std::make_unique<Private>())
{
    d->thread = shared().thread();
    d->context = new QObject;
    d->context->moveToThread(d->thread);
}

UrlSession::~UrlSession()
{
    if (d->isShared) {
        d->ownThread.quit();
        d->ownThread.wait(2000);
        return;
    }
    // The context owns this session's access manager; it goes on its own
    // thread (deleteLater is safe from any thread).
    d->context->deleteLater();
}

QThread *UrlSession::thread() const
{
    return d->thread;
}

void UrlSession::uploadTask(const UrlRequest &request, const QByteArray &body,
                            DataTaskCompletion completion)
{
    UrlRequest withBody = request;
    withBody.httpBody = body;
    dataTask(withBody, std::move(completion));
}

void UrlSession::dataTask(const UrlRequest &request, DataTaskCompletion completion)
{
    Private *p = d.get();
    // A made session is kept alive by its tasks in flight (the shared one
    // lives for the process).
    std::shared_ptr<UrlSession> keepAlive = weak_from_this().lock();
    QMetaObject::invokeMethod(p->context, [p, keepAlive, request, completion = std::move(completion)]() {
        if (!p->manager)
            p->manager = new QNetworkAccessManager(p->context);

        QNetworkRequest qt(request.url);
        qt.setTransferTimeout(static_cast<int>(request.timeoutInterval * 1000));
        qt.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                        request.cachePolicy == UrlRequestCachePolicy::reloadIgnoringLocalCacheData
                            ? QNetworkRequest::AlwaysNetwork
                            : QNetworkRequest::PreferNetwork);
        qt.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                        QNetworkRequest::NoLessSafeRedirectPolicy);
        for (const auto &[name, value] : request.headers)
            qt.setRawHeader(name, value);

        QNetworkReply *reply = request.httpBody
            ? p->manager->sendCustomRequest(qt, request.httpMethod, *request.httpBody)
            : p->manager->sendCustomRequest(qt, request.httpMethod);
        QObject::connect(reply, &QNetworkReply::finished, reply, [reply, keepAlive, completion]() {
            reply->deleteLater();
            const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
            if (status.isValid()) {
                // An HTTP answer of any status is data, not a transport error.
                UrlResponse response;
                response.url = reply->url();
                response.statusCode = status.toInt();
                for (const auto &[name, value] : reply->rawHeaderPairs())
                    response.headers.append({name, value});
                completion(reply->readAll(), response, std::nullopt);
                return;
            }
            completion(std::nullopt, std::nullopt, errorFor(reply->error(), reply->errorString()));
        });
    });
}

} // namespace tessivo
