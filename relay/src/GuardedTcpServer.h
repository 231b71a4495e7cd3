// The listening socket: hands QHttpServer GuardedSocket connections.
#pragma once

#include "GuardedSocket.h"

#include <QTcpServer>

namespace relay {

class GuardedTcpServer : public QTcpServer
{
    Q_OBJECT
public:
    GuardedTcpServer(const ConnectionLimits &limits, GuardedSocket::RejectLog log, QObject *parent = nullptr)
        : QTcpServer(parent), m_limits(limits), m_log(std::move(log))
    {
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
};

} // namespace relay
