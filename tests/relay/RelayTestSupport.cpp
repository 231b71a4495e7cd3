#include "RelayTestSupport.h"

#include "Log.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QHttpServerRequest>
#include <QHttpServerResponse>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QHttpServerResponder>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

namespace relaytest {

QByteArray Reply::header(const QByteArray &name) const
{
    for (const auto &[n, v] : headers) {
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return v;
    }
    return {};
}

QByteArray StandInMonday::Call::header(const QByteArray &name) const
{
    for (const auto &[n, v] : headers) {
        if (n.compare(name, Qt::CaseInsensitive) == 0)
            return v;
    }
    return {};
}

Reply HttpClient::send(const QByteArray &method, const QString &url, const QByteArray &body, const Headers &headers,
                       int timeoutMs)
{
    QNetworkRequest request{QUrl(url)};
    request.setTransferTimeout(timeoutMs);
    for (const auto &[n, v] : headers)
        request.setRawHeader(n, v);
    QNetworkReply *reply = m_network.sendCustomRequest(request, method, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    Reply r;
    r.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    r.body = reply->readAll();
    for (const auto &[n, v] : reply->rawHeaderPairs())
        r.headers.append({n, v});
    if (reply->error() != QNetworkReply::NoError)
        r.error = reply->errorString();
    reply->deleteLater();
    return r;
}

QByteArray rawExchange(quint16 port, const QList<QByteArray> &chunks, int gapMs, int timeoutMs)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    QByteArray received;
    bool closed = false;
    QObject::connect(&socket, &QTcpSocket::readyRead, [&] { received += socket.readAll(); });
    QObject::connect(&socket, &QTcpSocket::disconnected, [&] { closed = true; });
    QElapsedTimer timer;
    timer.start();
    auto wait = [&](int ms) {
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < ms && !closed)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    };
    while (socket.state() != QAbstractSocket::ConnectedState && timer.elapsed() < 3000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    for (const QByteArray &chunk : chunks) {
        if (closed)
            break;
        socket.write(chunk);
        socket.flush();
        if (gapMs > 0)
            wait(gapMs);
    }
    while (!closed && timer.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    received += socket.readAll();
    return received;
}

int rawStatus(const QByteArray &answer)
{
    if (!answer.startsWith("HTTP/1."))
        return 0;
    return answer.mid(9, 3).toInt();
}

QByteArray rawBody(const QByteArray &answer)
{
    const qsizetype end = answer.indexOf("\r\n\r\n");
    return end < 0 ? QByteArray() : answer.mid(end + 4);
}

StandInMonday::StandInMonday()
{
    // Answers through a kept responder (QHttpServer 6.4's QFuture answers
    // crash when fulfilled later on the server's thread).
    const auto handle = [this](const QHttpServerRequest &request, QHttpServerResponder &&responder) {
        Call call;
        call.path = request.url().path();
        call.headers = request.headers();
        call.body = request.body();
        m_calls.append(call);
        const bool file = call.path.endsWith(QLatin1String("/file"));
        const bool update = !file && call.body.contains("create_update");
        const QString field = file ? QStringLiteral("add_file_to_column")
            : update               ? QStringLiteral("create_update")
                                   : QStringLiteral("create_item");
        QJsonObject answer;
        QHttpServerResponse::StatusCode status = QHttpServerResponse::StatusCode::Ok;
        QByteArray raw;
        switch (update && m_refuseUpdates ? Mode::ComplexityBudgetExhausted : m_mode) {
        case Mode::Ok:
        case Mode::Slow: {
            const QString id = QString::number(m_nextId++);
            answer = QJsonObject{{QStringLiteral("data"), QJsonObject{{field, QJsonObject{{QStringLiteral("id"), id}}}}},
                                 {QStringLiteral("account_id"), 42}};
            break;
        }
        case Mode::ComplexityBudgetExhausted:
            answer = QJsonObject{
                {QStringLiteral("errors"),
                 QJsonArray{QJsonObject{
                     {QStringLiteral("message"), QStringLiteral("Complexity budget exhausted")},
                     {QStringLiteral("extensions"),
                      QJsonObject{{QStringLiteral("code"), QStringLiteral("COMPLEXITY_BUDGET_EXHAUSTED")},
                                  {QStringLiteral("retry_in_seconds"), 12}}}}}},
                {QStringLiteral("account_id"), 42}};
            break;
        case Mode::ExpiredToken:
            status = QHttpServerResponse::StatusCode::Unauthorized;
            answer = QJsonObject{{QStringLiteral("error_message"), QStringLiteral("Not Authenticated: token expired")},
                                 {QStringLiteral("error_code"), QStringLiteral("UserUnauthorizedException")},
                                 {QStringLiteral("status_code"), 401}};
            break;
        case Mode::NotJson:
            status = QHttpServerResponse::StatusCode::BadGateway;
            raw = "<html>502 Bad Gateway</html>";
            break;
        }
        QByteArray body = raw.isEmpty() ? QJsonDocument(answer).toJson(QJsonDocument::Compact) : raw;
        auto held = std::make_shared<std::optional<QHttpServerResponder>>(std::move(responder));
        const int delay = m_mode == Mode::Slow ? m_delayMs : 0;
        QTimer::singleShot(delay, &m_server, [held, body, status, raw] {
            QHttpServerResponse(raw.isEmpty() ? QByteArray("application/json") : QByteArray("text/html"), body, status)
                .write(std::move(**held));
            held->reset();
        });
    };
    m_server.route(QStringLiteral("/v2"), QHttpServerRequest::Method::Post, handle);
    m_server.route(QStringLiteral("/v2/file"), QHttpServerRequest::Method::Post, handle);
    m_port = m_server.listen(QHostAddress::LocalHost, 0);
}

QString StandInMonday::apiUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1/v2").arg(m_port);
}

QString StandInMonday::fileUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1/v2/file").arg(m_port);
}

LogCapture::LogCapture()
{
    relay::setLogObserver([this](const QString &line) {
        QMutexLocker lock(&m_mutex);
        m_lines.append(line);
    });
}

LogCapture::~LogCapture()
{
    relay::setLogObserver(nullptr);
}

QStringList LogCapture::lines() const
{
    QMutexLocker lock(&m_mutex);
    return m_lines;
}

bool LogCapture::contains(const QString &fragment) const
{
    QMutexLocker lock(&m_mutex);
    for (const QString &line : m_lines) {
        if (line.contains(fragment))
            return true;
    }
    return false;
}

bool TestDatabase::wantsPostgres()
{
    return qgetenv("TESSIVO_RELAY_TEST_BACKEND") == "postgres";
}

QString TestDatabase::postgresUrl()
{
    return QString::fromUtf8(qgetenv("TESSIVO_TEST_POSTGRES_URL"));
}

bool TestDatabase::wipePostgres(QString *error)
{
    const QUrl url(postgresUrl());
    bool ok = true;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), QStringLiteral("relay-test-wipe"));
        db.setHostName(url.host());
        db.setPort(url.port(5432));
        db.setUserName(url.userName());
        db.setPassword(url.password());
        db.setDatabaseName(url.path().mid(1));
        if (!db.open()) {
            *error = db.lastError().text();
            ok = false;
        } else {
            QSqlQuery q(db);
            q.exec(QStringLiteral("SET client_min_messages TO WARNING"));
            ok = q.exec(QStringLiteral("DROP TABLE IF EXISTS files, items, products, settings, schema_migrations CASCADE"));
            if (!ok)
                *error = q.lastError().text();
        }
        db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("relay-test-wipe"));
    return ok;
}

relay::RelayConfig RelayTestBase::defaultConfig() const
{
    relay::RelayConfig c;
    c.port = 0;
    c.dataDir = m_dir->path();
    if (TestDatabase::wantsPostgres())
        c.databaseUrl = TestDatabase::postgresUrl();
    c.mondayApiUrl = m_monday->apiUrl();
    c.mondayFileUrl = m_monday->fileUrl();
    return c;
}

bool RelayTestBase::postgresMissing()
{
    return TestDatabase::wantsPostgres() && TestDatabase::postgresUrl().isEmpty();
}

bool RelayTestBase::setUpRelay(const std::function<void(relay::RelayConfig &)> &adjust)
{
    if (TestDatabase::wantsPostgres()) {
        QString error;
        if (!TestDatabase::wipePostgres(&error)) {
            qWarning("cannot wipe the test database: %s", qPrintable(error));
            return false;
        }
    }
    m_dir = std::make_unique<QTemporaryDir>();
    m_monday = std::make_unique<StandInMonday>();
    m_log = std::make_unique<LogCapture>();
    relay::RelayConfig config = defaultConfig();
    if (adjust)
        adjust(config);
    return startRelay(config);
}

bool RelayTestBase::startRelay(const relay::RelayConfig &config)
{
    m_relay = std::make_unique<relay::RelayServer>(config);
    QString error;
    const bool ok = m_relay->start(&error);
    if (!ok)
        qWarning("relay start failed: %s", qPrintable(error));
    return ok;
}

void RelayTestBase::tearDownRelay()
{
    m_relay.reset();
    m_log.reset();
    m_monday.reset();
    m_dir.reset();
}

QString RelayTestBase::url(const QString &pathAndQuery) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_relay->port()).arg(pathAndQuery);
}

relay::Product RelayTestBase::addProduct(const QString &bundleId, bool monday, const QString &mondayToken)
{
    relay::Product p;
    p.bundleId = bundleId;
    if (monday) {
        p.sink = QStringLiteral("monday");
        p.apiToken = mondayToken;
        p.boardId = QStringLiteral("1234567");
        p.groupId = QStringLiteral("topics");
        p.fileColumnId = QStringLiteral("files");
    }
    QString error;
    const auto added = m_relay->products().add(p, &error);
    if (!added)
        qFatal("cannot add a product: %s", qPrintable(error));
    return *added;
}

} // namespace relaytest
