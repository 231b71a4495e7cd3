#include "ConnectionPool.h"

#include <algorithm>

namespace soak {
namespace {

// How long a released connection may take to write its request, and how
// long past its idle time-out the relay may take to close a parked one.
constexpr qint64 kReleaseMs = 10000;
constexpr qint64 kIdleCloseSlackMs = 10000;

} // namespace

ConnectionPool::ConnectionPool(QString host, quint16 port, int size, int idleTimeoutMs, QObject *parent)
    : QObject(parent), m_host(std::move(host)), m_port(port), m_size(size), m_idleTimeoutMs(idleTimeoutMs)
{
}

HttpConnection *ConnectionPool::fresh()
{
    auto *connection = new HttpConnection(m_host, m_port, this);
    ++m_opened;
    connect(connection, &HttpConnection::answered, this,
            [this, connection](const HttpAnswer &answer) { Q_EMIT answered(connection, answer); });
    connect(connection, &HttpConnection::failed, this,
            [this, connection](const QString &error) { Q_EMIT failed(connection, error); });
    connect(connection, &HttpConnection::closedWhileIdle, this, [this, connection] { onClosedWhileIdle(connection); });
    connect(connection, &HttpConnection::written, this, [this, connection] {
        if (m_releasing.remove(connection))
            drop(connection);
    });
    connect(connection, &HttpConnection::cutShort, this,
            [this, connection](qint64 unwritten) { onCutShort(connection, unwritten); });
    connect(connection, &HttpConnection::unsolicited, this, [this](const QByteArray &bytes) {
        Q_EMIT anomaly(QStringLiteral("bytes nobody asked for: %1").arg(QString::fromUtf8(bytes.left(120))));
    });
    return connection;
}

HttpConnection *ConnectionPool::keepAlive()
{
    // A connection idle for half the relay's idle time-out is closed here
    // rather than used: the relay may be closing it at this very moment.
    const qint64 now = nowMs();
    for (HttpConnection *connection : std::as_const(m_pool)) {
        if (connection->busy())
            continue;
        if (connection->reusable() && now - connection->idleSinceMs() < m_idleTimeoutMs / 2)
            return connection;
        drop(connection);
        return keepAlive();
    }
    if (m_pool.size() >= m_size)
        return nullptr;
    HttpConnection *connection = fresh();
    m_pool.append(connection);
    return connection;
}

void ConnectionPool::release(HttpConnection *connection, const QString &request, int status)
{
    // A client sends its whole request, then reads: a connection answered
    // before it was written whole is kept until it is.
    m_pool.removeOne(connection);
    if (connection->unwritten() == 0) {
        drop(connection);
        return;
    }
    m_releasing.insert(connection, Releasing{request, status, nowMs() + kReleaseMs});
}

void ConnectionPool::drop(HttpConnection *connection)
{
    m_pool.removeOne(connection);
    m_releasing.remove(connection);
    connection->close();
    connection->deleteLater();
}

void ConnectionPool::parkOne()
{
    for (HttpConnection *connection : std::as_const(m_pool)) {
        if (!connection->busy() && connection->reusable() && connection->requestsSent() > 0) {
            m_pool.removeOne(connection);
            m_parked.append(Parked{connection, connection->idleSinceMs()});
            return;
        }
    }
}

void ConnectionPool::sweep(qint64 now)
{
    for (auto it = m_parked.begin(); it != m_parked.end();) {
        if (it->connection && now - it->idleSinceMs > m_idleTimeoutMs + kIdleCloseSlackMs) {
            Q_EMIT anomaly(QStringLiteral("a keep-alive connection was still open %1 s after its last answer "
                                          "(idle time-out %2 s)")
                               .arg((now - it->idleSinceMs) / 1000)
                               .arg(m_idleTimeoutMs / 1000));
            drop(it->connection);
        }
        if (!it->connection || now - it->idleSinceMs > m_idleTimeoutMs + kIdleCloseSlackMs)
            it = m_parked.erase(it);
        else
            ++it;
    }
    QList<HttpConnection *> late;
    for (auto it = m_releasing.cbegin(); it != m_releasing.cend(); ++it) {
        if (now >= it->deadlineMs) {
            Q_EMIT anomaly(QStringLiteral("%1: after its %2 the relay neither read the rest of the request (%3 "
                                          "bytes) nor closed the connection")
                               .arg(it->request)
                               .arg(it->status)
                               .arg(it.key()->unwritten()));
            late << it.key();
        }
    }
    for (HttpConnection *connection : late)
        drop(connection);
}

void ConnectionPool::onCutShort(HttpConnection *connection, qint64 unwritten)
{
    const auto it = m_releasing.constFind(connection);
    const bool released = it != m_releasing.cend();
    Q_EMIT anomaly(QStringLiteral("%1: the relay answered %2 and closed the connection with %3 bytes of the "
                                  "request unread; a client that sends its request before reading gets a reset, "
                                  "not the answer")
                       .arg(released ? it->request : QStringLiteral("a request"))
                       .arg(released ? it->status : 0)
                       .arg(unwritten));
    drop(connection);
}

void ConnectionPool::onClosedWhileIdle(HttpConnection *connection)
{
    if (m_releasing.contains(connection)) {
        drop(connection); // it had written its request whole
        return;
    }
    const qint64 idleMs = nowMs() - connection->idleSinceMs();
    for (qsizetype i = 0; i < m_parked.size(); ++i) {
        if (m_parked.at(i).connection == connection) {
            m_parkedClosedAfterMs << idleMs;
            m_parked.removeAt(i);
            drop(connection);
            return;
        }
    }
    if (m_pool.contains(connection)) {
        // The relay counts idle time from its end of the answer, a little
        // before this side's: it may close a moment "early", never much.
        if (idleMs < m_idleTimeoutMs - 1000)
            Q_EMIT anomaly(QStringLiteral("the relay closed an idle keep-alive connection after %1 ms (idle "
                                          "time-out %2 ms)")
                               .arg(idleMs)
                               .arg(m_idleTimeoutMs));
        ++m_idleClosed;
        drop(connection);
    }
}

QString ConnectionPool::summary() const
{
    qint64 parkedMin = 0;
    qint64 parkedMax = 0;
    if (!m_parkedClosedAfterMs.isEmpty()) {
        parkedMin = *std::min_element(m_parkedClosedAfterMs.cbegin(), m_parkedClosedAfterMs.cend());
        parkedMax = *std::max_element(m_parkedClosedAfterMs.cbegin(), m_parkedClosedAfterMs.cend());
    }
    return QStringLiteral("%1 opened; of the keep-alive connections left idle on purpose, %2 were closed by the "
                          "relay after %3-%4 ms (idle time-out %5 ms); %6 pooled ones were closed by it when idle")
        .arg(m_opened)
        .arg(m_parkedClosedAfterMs.size())
        .arg(parkedMin)
        .arg(parkedMax)
        .arg(m_idleTimeoutMs)
        .arg(m_idleClosed);
}

} // namespace soak
