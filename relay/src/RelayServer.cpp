#include "RelayServer.h"

#include "GuardedSocket.h"
#include "GuardedTcpServer.h"
#include "InboxPage.h"
#include "Log.h"
#include "MondaySink.h"
#include "UpstreamClient.h"
#include "RandomId.h"
#include "ReportService.h"

#include <QHttpServer>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

namespace relay {
namespace {

using Method = QHttpServerRequest::Method;
using Status = QHttpServerResponse::StatusCode;

QByteArray methodName(Method method)
{
    switch (method) {
    case Method::Get: return "GET";
    case Method::Put: return "PUT";
    case Method::Delete: return "DELETE";
    case Method::Post: return "POST";
    case Method::Head: return "HEAD";
    case Method::Options: return "OPTIONS";
    case Method::Patch: return "PATCH";
    case Method::Connect: return "CONNECT";
    case Method::Trace: return "TRACE";
    default: return "UNKNOWN";
    }
}

QString loggablePath(QString path)
{
    // Paths carry no secrets in this relay (ids travel in queries and
    // bodies, which are never logged); long or odd paths are cut.
    if (path.size() > 120)
        path = path.left(120) + QStringLiteral("...");
    for (QChar &c : path) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            c = QLatin1Char('?');
    }
    return path;
}

const QString kAdminTokenSetting = QStringLiteral("inbox_admin_token");

} // namespace

RelayServer::RelayServer(RelayConfig config, QObject *parent)
    : QObject(parent),
      m_config(std::move(config)),
      m_clientLimiter(m_config.clientRatePerMinute, m_config.clientBurst),
      m_productLimiter(m_config.productRatePerMinute, m_config.productBurst)
{
}

RelayServer::~RelayServer()
{
    // Upstream replies are aborted while the stores still exist.
    delete m_upstream;
    m_upstream = nullptr;
    delete m_http;
    m_http = nullptr;
}

QString RelayServer::ensureAdminToken(ItemStore &items)
{
    if (const auto token = items.setting(kAdminTokenSetting))
        return *token;
    items.setSetting(kAdminTokenSetting, randomHex(24));
    return items.setting(kAdminTokenSetting).value_or(QString());
}

bool RelayServer::start(QString *error)
{
    if (!m_db.open(m_config.effectiveDatabaseUrl(), error))
        return false;
    m_adminToken = ensureAdminToken(m_items);
    if (m_adminToken.isEmpty()) {
        *error = QStringLiteral("the inbox admin token could not be stored");
        return false;
    }
    m_upstream = new UpstreamClient(m_config.upstreamTimeoutMs, this);
    m_monday = std::make_unique<MondaySink>(m_upstream, m_config.mondayApiUrl, m_config.mondayFileUrl);
    m_reports = std::make_unique<ReportService>(m_config, m_products, m_items, *m_monday, m_productLimiter);
    m_inbox = std::make_unique<InboxPage>(m_items, m_products, m_adminToken);

    m_http = new QHttpServer(this);
    const int get = int(Method::Get);
    const int post = int(Method::Post);
    addRoute(QStringLiteral("/product-id"), get, [this](const HttpExchange &e, const Respond &r) {
        m_reports->productId(e, r);
    });
    addRoute(QStringLiteral("/monday/add-item"), post, [this](const HttpExchange &e, const Respond &r) {
        m_reports->addItem(e, r);
    });
    addRoute(QStringLiteral("/healthz"), get, [this](const HttpExchange &, const Respond &respond) {
        const bool ok = m_db.exec(QStringLiteral("SELECT 1")).has_value();
        respond(jsonAnswer(QJsonObject{{QStringLiteral("status"), ok ? QStringLiteral("ok") : QStringLiteral("degraded")},
                                       {QStringLiteral("database"), m_db.isPostgres() ? QStringLiteral("postgresql")
                                                                                      : QStringLiteral("sqlite")}},
                           ok ? Status::Ok : Status::ServiceUnavailable));
    });
    addRoute(QStringLiteral("/monday/upload-file"), post, [this](const HttpExchange &e, const Respond &r) {
        m_reports->uploadFile(e, r);
    });
    addRoute(QStringLiteral("/inbox"), get, [this](const HttpExchange &e, const Respond &r) { m_inbox->page(e, r); });
    addRoute(QStringLiteral("/inbox/items"), get, [this](const HttpExchange &e, const Respond &r) { m_inbox->items(e, r); });
    addRoute(QStringLiteral("/inbox/files/"), get, [this](const HttpExchange &e, const Respond &r) {
        m_inbox->file(e, e.path.mid(int(strlen("/inbox/files/"))), r);
    });
    m_http->setMissingHandler([this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
        const QPointer<GuardedSocket> socket = GuardedSocket::current();
        if (socket)
            socket->beginResponse();
        QElapsedTimer timer;
        timer.start();
        const QString path = request.url().path();
        // A known path asked with the wrong method is 405, anything else 404.
        static const QStringList getPaths{QStringLiteral("/product-id"), QStringLiteral("/healthz"), QStringLiteral("/inbox"),
                                          QStringLiteral("/inbox/items")};
        static const QStringList postPaths{QStringLiteral("/monday/add-item"), QStringLiteral("/monday/upload-file")};
        const bool known = getPaths.contains(path) || postPaths.contains(path)
            || path.startsWith(QLatin1String("/inbox/files/"));
        const Status status = known ? Status::MethodNotAllowed : Status::NotFound;
        const QJsonObject body{{QStringLiteral("error"), known ? QStringLiteral("method not allowed") : QStringLiteral("not found")},
                               {QStringLiteral("status"), int(status)}};
        if (known)
            responder.write(QJsonDocument(body), {{"Allow", postPaths.contains(path) ? "POST" : "GET"}}, status);
        else
            responder.write(QJsonDocument(body), status);
        logRequest(methodName(request.method()), path, int(status), timer.nsecsElapsed() / 1e6);
        if (socket)
            socket->endResponse();
    });

    ConnectionLimits limits;
    limits.maxBodyBytes = m_config.maxBodyBytes;
    limits.maxHeaderBytes = m_config.maxHeaderBytes;
    limits.requestTimeoutMs = m_config.requestTimeoutMs;
    limits.idleTimeoutMs = m_config.idleTimeoutMs;
    m_tcp = new GuardedTcpServer(
        limits,
        [this](const QByteArray &method, const QByteArray &path, int status, double ms) {
            logRequest(method, QString::fromUtf8(path), status, ms);
        },
        this);
    if (!m_tcp->listen(m_config.listenAddress, m_config.port)) {
        *error = QStringLiteral("cannot listen on %1:%2: %3")
                     .arg(m_config.listenAddress.toString())
                     .arg(m_config.port)
                     .arg(m_tcp->errorString());
        return false;
    }
    m_http->bind(m_tcp);
    logLine(QStringLiteral("tessivo-relay %1 listening on %2:%3, database %4")
                .arg(QStringLiteral(TESSIVO_RELAY_VERSION), m_config.listenAddress.toString())
                .arg(m_tcp->serverPort())
                .arg(m_db.isPostgres() ? QStringLiteral("postgresql") : QStringLiteral("sqlite")));
    return true;
}

quint16 RelayServer::port() const
{
    return m_tcp ? m_tcp->serverPort() : 0;
}

HttpExchange RelayServer::exchangeFor(const QHttpServerRequest &request, GuardedSocket *socket) const
{
    HttpExchange e;
    e.method = methodName(request.method());
    const QUrl url = request.url();
    e.path = url.path();
    e.query = QUrlQuery(url);
    e.contentType = request.value(QByteArrayLiteral("Content-Type"));
    e.authorization = request.value(QByteArrayLiteral("Authorization"));
    e.cookie = request.value(QByteArrayLiteral("Cookie"));
    e.body = request.body();
    if (socket) {
        e.client = socket->clientAddress();
    } else {
        QHostAddress address = request.remoteAddress();
        bool isV4 = false;
        const quint32 v4 = address.toIPv4Address(&isV4);
        e.client = isV4 ? QHostAddress(v4).toString() : address.toString();
    }
    if (m_config.trustForwardedFor) {
        const QByteArray forwarded = request.value(QByteArrayLiteral("X-Forwarded-For"));
        if (!forwarded.isEmpty()) {
            const QHostAddress last(QString::fromLatin1(forwarded.split(',').last().trimmed()));
            if (!last.isNull())
                e.client = last.toString();
        }
    }
    return e;
}

void RelayServer::addRoute(const QString &path, int methods, Handler handler)
{
    const bool prefix = path.endsWith(QLatin1Char('/'));
    // Handlers answer through a responder they may keep: that is how an
    // answer waits for monday. (QHttpServer 6.4 also takes a QFuture, but its
    // continuation crashes when the promise is fulfilled on the server's own
    // thread, so the responder form is used.)
    const auto dispatch = [this, handler](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
        QElapsedTimer timer;
        timer.start();
        const QPointer<GuardedSocket> socket = GuardedSocket::current();
        const HttpExchange exchange = exchangeFor(request, socket.data());
        if (socket)
            socket->beginResponse();
        ++m_inFlight;
        auto held = std::make_shared<std::optional<QHttpServerResponder>>(std::move(responder));
        const QByteArray method = exchange.method;
        const QString path = exchange.path;
        const Respond respond = [this, held, socket, timer, method, path](QHttpServerResponse response) {
            if (!held->has_value())
                return; // answered already
            logRequest(method, path, int(response.statusCode()), timer.nsecsElapsed() / 1e6);
            // The answer is written to the connection here and now; the
            // connection stays alive until endResponse (see GuardedSocket).
            response.write(std::move(**held));
            held->reset();
            if (socket)
                socket->endResponse();
            --m_inFlight;
            checkStopped();
        };
        if (!m_clientLimiter.allow(exchange.client)) {
            QHttpServerResponse response = jsonError(Status::TooManyRequests, QStringLiteral("too many requests"));
            response.setHeader(QByteArrayLiteral("Retry-After"),
                               QByteArray::number(m_clientLimiter.retryAfterSeconds(exchange.client)));
            respond(std::move(response));
            return;
        }
        handler(exchange, respond);
    };
    const auto rule = QHttpServerRequest::Methods(QHttpServerRequest::Method(methods));
    if (prefix)
        m_http->route(path + QStringLiteral("<arg>"), rule,
                      [dispatch](const QString &, const QHttpServerRequest &request, QHttpServerResponder &&responder) {
                          dispatch(request, std::move(responder));
                      });
    else
        m_http->route(path, rule, [dispatch](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
            dispatch(request, std::move(responder));
        });
}

void RelayServer::logRequest(const QByteArray &method, const QString &path, int status, double ms)
{
    logLine(QString::fromLatin1(method) + QLatin1Char(' ') + loggablePath(path) + QLatin1Char(' ')
            + QString::number(status) + QLatin1Char(' ') + QString::number(ms, 'f', 2) + QStringLiteral(" ms"));
}

void RelayServer::stop()
{
    if (m_stopping)
        return;
    m_stopping = true;
    if (m_tcp)
        m_tcp->close(); // no new connections
    logLine(QStringLiteral("stopping: %1 request(s) in flight").arg(m_inFlight));
    QTimer::singleShot(m_config.shutdownGraceMs, this, [this] {
        if (m_inFlight > 0) {
            logLine(QStringLiteral("stopping: %1 request(s) still in flight after the grace period").arg(m_inFlight));
            m_inFlight = 0;
            checkStopped();
        }
    });
    checkStopped();
}

void RelayServer::checkStopped()
{
    if (!m_stopping || m_inFlight > 0)
        return;
    m_stopping = false; // emit once
    // Let the last answers leave, then close every connection.
    if (m_tcp) {
        for (GuardedSocket *socket : m_tcp->findChildren<GuardedSocket *>()) {
            socket->flush();
            socket->disconnectFromHost();
        }
    }
    QTimer::singleShot(100, this, [this] {
        logLine(QStringLiteral("stopped"));
        Q_EMIT stopped();
    });
}

} // namespace relay
