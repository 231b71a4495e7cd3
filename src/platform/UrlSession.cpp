#include "platform/UrlSession.h"

#include "platform/HttpTransfers.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>

#include <mutex>

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
    std::mutex startLock;                // the shared session's start and stop
    bool stopsWithApplication = false;
    QObject *root = nullptr;             // the shared session's: on the network thread,
                                         // the ancestor of every session's context
    QPointer<QObject> context;           // on the network thread: owns this session's
    HttpTransfers *transfers = nullptr;  // transfers (its connections and cookies)

    QObject *ensureStarted();
    void stop();
    static void stopShared();
};

// The application object is going away: its post routines run while it
// still delivers events, so the network thread can take its curl engines
// apart on its own thread. After it is gone, events are no longer delivered
// and a deferred delete would never happen.
void UrlSession::Private::stopShared()
{
    shared().d->stop();
}

QObject *UrlSession::Private::ensureStarted()
{
    std::lock_guard lock(startLock);
    if (!root) {
        root = new QObject;
        root->moveToThread(&ownThread);
        context = root;
        ownThread.start();
    }
    // Registered again for each application object (its post routines are
    // called once), as soon as there is one.
    if (!stopsWithApplication && QCoreApplication::instance()) {
        qAddPostRoutine(stopShared);
        stopsWithApplication = true;
    }
    return root;
}

void UrlSession::Private::stop()
{
    QObject *doomed = nullptr;
    {
        std::lock_guard lock(startLock);
        std::swap(doomed, root);
        stopsWithApplication = false;
    }
    if (!doomed)
        return;
    // Every session's context is a child of the root: deleting it on its
    // thread closes every connection and frees every curl handle.
    auto takeApart = [this, doomed] {
        transfers = nullptr;
        delete doomed;
    };
    if (QThread::currentThread() == &ownThread)
        takeApart();
    else
        QMetaObject::invokeMethod(doomed, takeApart, Qt::BlockingQueuedConnection);
    ownThread.quit();
    if (QThread::currentThread() != &ownThread)
        ownThread.wait();
}

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
    d->ensureStarted();
}

UrlSession::UrlSession(MadeTag) : d(std::make_unique<Private>())
{
    Private *sharedSession = shared().d.get();
    d->thread = &sharedSession->ownThread;
    QObject *root = sharedSession->ensureStarted();
    auto makeContext = [this, root] { d->context = new QObject(root); };
    if (QThread::currentThread() == d->thread)
        makeContext();
    else
        QMetaObject::invokeMethod(root, makeContext, Qt::BlockingQueuedConnection);
}

UrlSession::~UrlSession()
{
    if (d->isShared) {
        d->stop();
        return;
    }
    // The context owns this session's transfers; it goes on its own thread
    // (deleteLater is safe from any thread). It is gone already when the
    // shared session stopped first.
    if (QObject *context = d->context)
        context->deleteLater();
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
    QObject *context = p->isShared ? p->ensureStarted() : p->context.data();
    QMetaObject::invokeMethod(context, [p, keepAlive, request, completion = std::move(completion)]() {
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
