#include "platform/UrlSession.h"

#include "platform/HttpTransfers.h"

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
    HttpTransfers *transfers = nullptr;  // made on the network thread: this session's
                                         // connections and cookies
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
    // The context owns this session's transfers; it goes on its own
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
        if (!p->transfers)
            p->transfers = new HttpTransfers(p->context);
        p->transfers->start(request, [keepAlive, completion](std::optional<QByteArray> data,
                                                             std::optional<UrlResponse> response,
                                                             std::optional<UrlError> error) {
            completion(std::move(data), std::move(response), std::move(error));
        });
    });
}

} // namespace tessivo
