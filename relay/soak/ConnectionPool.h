// The soak's connections to the relay: a pool of keep-alive connections,
// fresh ones, those left idle on purpose (the relay must close them after
// its idle time-out), and those answered before their request was written
// whole (the relay must go on reading them rather than reset them).
#pragma once

#include "HttpConnection.h"

#include <QHash>
#include <QObject>
#include <QPointer>

namespace soak {

class ConnectionPool : public QObject
{
    Q_OBJECT
public:
    ConnectionPool(QString host, quint16 port, int size, int idleTimeoutMs, QObject *parent = nullptr);

    /// A new connection.
    HttpConnection *fresh();
    /// An idle pooled connection, or a new one while the pool has room;
    /// nothing when every pooled connection is busy.
    HttpConnection *keepAlive();
    /// Done with `connection` after its answer (`status`) to `request`: it
    /// closes once the request has been written whole.
    void release(HttpConnection *connection, const QString &request, int status);
    /// Closes and forgets `connection`.
    void drop(HttpConnection *connection);
    /// Leaves an idle pooled connection alone: the relay must close it.
    void parkOne();
    /// Enforces the deadlines of parked and released connections.
    void sweep(qint64 now);
    bool releasing() const { return !m_releasing.isEmpty(); }
    QString summary() const;

Q_SIGNALS:
    void answered(soak::HttpConnection *connection, const soak::HttpAnswer &answer);
    void failed(soak::HttpConnection *connection, const QString &error);
    void anomaly(const QString &text);

private:
    struct Releasing {
        QString request;
        int status = 0;
        qint64 deadlineMs = 0;
    };
    struct Parked {
        QPointer<HttpConnection> connection;
        qint64 idleSinceMs = 0;
    };
    void onClosedWhileIdle(HttpConnection *connection);
    void onCutShort(HttpConnection *connection, qint64 unwritten);

    QString m_host;
    quint16 m_port;
    int m_size;
    int m_idleTimeoutMs;
    QList<HttpConnection *> m_pool;
    QList<Parked> m_parked;
    QHash<HttpConnection *, Releasing> m_releasing;
    int m_opened = 0;
    int m_idleClosed = 0;
    QList<qint64> m_parkedClosedAfterMs;
};

} // namespace soak
