// Helpers for the relay tests: a blocking HTTP client that keeps the event
// loop running (the relay may live in the same thread), raw socket
// exchanges, a stand-in monday API, and the choice of database.
#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QHttpServer>
#include <QList>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTcpServer>

#include <functional>
#include <memory>

#include "ProductStore.h"
#include "RelayConfig.h"
#include "RelayServer.h"

namespace relaytest {

using Headers = QList<QPair<QByteArray, QByteArray>>;

struct Reply {
    int status = 0; // 0: no HTTP answer
    QByteArray body;
    Headers headers;
    QString error;
    QByteArray header(const QByteArray &name) const;
};

class HttpClient
{
public:
    Reply send(const QByteArray &method, const QString &url, const QByteArray &body = {},
               const Headers &headers = {}, int timeoutMs = 20000);
    Reply get(const QString &url, const Headers &headers = {}) { return send("GET", url, {}, headers); }

private:
    QNetworkAccessManager m_network;
};

/// Writes `request` on a fresh connection and returns all bytes received
/// until the server closes it or `timeoutMs` pass. `chunks` are written one
/// after the other with `gapMs` between them.
QByteArray rawExchange(quint16 port, const QList<QByteArray> &chunks, int gapMs = 0, int timeoutMs = 10000);

/// The status code of a raw HTTP answer ("HTTP/1.1 413 ..."), or 0.
int rawStatus(const QByteArray &answer);
/// The body of a raw HTTP answer.
QByteArray rawBody(const QByteArray &answer);

/// The monday API as the tests want it to behave.
class StandInMonday
{
public:
    enum class Mode { Ok, ComplexityBudgetExhausted, ExpiredToken, NotJson, Slow };

    StandInMonday();
    QString apiUrl() const;
    QString fileUrl() const;
    void setMode(Mode mode) { m_mode = mode; }
    void setDelayMs(int ms) { m_delayMs = ms; }
    /// Answers create_update with an error whatever the mode.
    void setRefuseUpdates(bool refuse) { m_refuseUpdates = refuse; }

    struct Call {
        QString path;
        Headers headers;
        QByteArray body;
        QByteArray header(const QByteArray &name) const;
    };
    QList<Call> calls() const { return m_calls; }

private:
    QHttpServer m_server;
    quint16 m_port = 0;
    Mode m_mode = Mode::Ok;
    int m_delayMs = 0;
    bool m_refuseUpdates = false;
    int m_nextId = 9000001;
    QList<Call> m_calls;
};

/// Collects the relay's log lines.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    QStringList lines() const;
    bool contains(const QString &fragment) const;

private:
    mutable QMutex m_mutex;
    QStringList m_lines;
};

/// The database the tests use: SQLite in a temporary folder, or, when the
/// test runs with TESSIVO_RELAY_TEST_BACKEND=postgres, the PostgreSQL
/// database of TESSIVO_TEST_POSTGRES_URL (wiped before each test).
struct TestDatabase {
    static bool wantsPostgres();
    static QString postgresUrl();
    /// Empties the PostgreSQL database (drops the relay's tables).
    static bool wipePostgres(QString *error);
};

/// The fixture of the tests that run a relay in-process: a data folder, the
/// stand-in monday API, the log and the relay, made anew for each test.
class RelayTestBase : public QObject
{
protected:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<StandInMonday> m_monday;
    std::unique_ptr<LogCapture> m_log;
    std::unique_ptr<relay::RelayServer> m_relay;
    HttpClient m_http;

    /// The defaults, but for where the relay listens, keeps its data and
    /// finds monday.
    relay::RelayConfig defaultConfig() const;
    /// Makes the fixture and starts a relay with defaultConfig(), changed by
    /// `adjust` if given; false when the relay did not start.
    bool setUpRelay(const std::function<void(relay::RelayConfig &)> &adjust = {});
    bool startRelay(const relay::RelayConfig &config);
    void tearDownRelay();
    /// Skips the test on PostgreSQL runs without a server.
    static bool postgresMissing();

    QString url(const QString &pathAndQuery) const;
    relay::Product addProduct(const QString &bundleId, bool monday, const QString &mondayToken);
};

} // namespace relaytest
