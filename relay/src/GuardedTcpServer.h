// The listening socket: hands QHttpServer GuardedSocket connections.
#pragma once

#include "GuardedSocket.h"

#include <QTcpServer>
#include <QTimer>

#include <algorithm>

namespace relay {

class GuardedTcpServer : public QTcpServer
{
    Q_OBJECT
public:
    GuardedTcpServer(const ConnectionLimits &limits, GuardedSocket::RejectLog log, QObject *parent = nullptr)
        : QTcpServer(parent), m_limits(limits), m_log(std::move(log))
    {
        // One sweep over all connections enforces their time limits.
        m_sweep.setInterval(std::clamp(std::min(limits.requestTimeoutMs, limits.idleTimeoutMs) / 4, 20, 250));
        connect(&m_sweep, &QTimer::timeout, this, [this] {
            const qint64 now = GuardedSocket::nowMs();
            for (GuardedSocket *socket : findChildren<GuardedSocket *>(Qt::FindDirectChildrenOnly))
                socket->checkDeadline(now);
        });
        m_sweep.start();
    }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto *socket = new GuardedSocket(m_limits, m_log, this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        addPendingConnection(socket);
    }

private:
    ConnectionLimits m_limits;
    GuardedSocket::RejectLog m_log;
    QTimer m_sweep;
};

} // namespace relay
