// The relay: QHttpServer routes over a guarded listening socket, the
// database, the sinks, the limits, one log line per request, and a graceful
// stop that lets the requests in flight finish.
#pragma once

#include "Database.h"
#include "HttpExchange.h"
#include "ItemStore.h"
#include "ProductStore.h"
#include "RateLimiter.h"
#include "RelayConfig.h"

#include <QObject>

#include <memory>

class QHttpServer;
class QHttpServerRequest;

namespace relay {

class GuardedSocket;
class GuardedTcpServer;
class InboxPage;
class MondaySink;
class ReportService;
class UpstreamClient;

class RelayServer : public QObject
{
    Q_OBJECT
public:
    explicit RelayServer(RelayConfig config, QObject *parent = nullptr);
    ~RelayServer() override;

    /// Opens the database and listens. False with a message on failure.
    bool start(QString *error);
    quint16 port() const;
    /// Stops accepting connections and emits stopped() once the requests in
    /// flight have been answered (or the grace period is over).
    void stop();
    int inFlight() const { return m_inFlight; }

    Database &database() { return m_db; }
    ProductStore &products() { return m_products; }
    ItemStore &items() { return m_items; }
    QString adminToken() const { return m_adminToken; }

    /// The inbox admin token, made on first start and kept in the database.
    static QString ensureAdminToken(ItemStore &items);

Q_SIGNALS:
    void stopped();

private:
    using Handler = std::function<void(const HttpExchange &, const Respond &)>;
    void addRoute(const QString &path, int methods, Handler handler);
    HttpExchange exchangeFor(const QHttpServerRequest &request, GuardedSocket *socket) const;
    void logRequest(const QByteArray &method, const QString &path, int status, double ms);
    void checkStopped();

    RelayConfig m_config;
    Database m_db;
    ProductStore m_products{m_db};
    ItemStore m_items{m_db};
    RateLimiter m_clientLimiter;
    RateLimiter m_productLimiter;
    QString m_adminToken;
    UpstreamClient *m_upstream = nullptr;
    std::unique_ptr<MondaySink> m_monday;
    std::unique_ptr<ReportService> m_reports;
    std::unique_ptr<InboxPage> m_inbox;
    QHttpServer *m_http = nullptr;
    GuardedTcpServer *m_tcp = nullptr;
    int m_inFlight = 0;
    bool m_stopping = false;
};

} // namespace relay
