#include "StallingProxy.h"

#include <QPointer>
#include <QTcpSocket>

#include <memory>

// One client's connection and its own connection to the server.
struct StallingProxy::Pipe {
    QPointer<QTcpSocket> client;
    QPointer<QTcpSocket> upstream;
    QByteArray received; // everything the client sent
    qint64 forwarded = 0;
};

StallingProxy::StallingProxy(QObject *parent) : QObject(parent)
{
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, &StallingProxy::accept);
}

QString StallingProxy::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void StallingProxy::stallAfter(const QByteArray &requestLine, qint64 bytes)
{
    m_requestLine = requestLine;
    m_limit = bytes;
    m_stalled = false;
}

void StallingProxy::forwardEverything()
{
    m_requestLine.clear();
    m_limit = -1;
    m_stalled = false;
}

void StallingProxy::accept()
{
    while (QTcpSocket *client = m_server.nextPendingConnection()) {
        client->setParent(this);
        auto pipe = std::make_shared<Pipe>();
        pipe->client = client;
        pipe->upstream = new QTcpSocket(client);
        QTcpSocket *upstream = pipe->upstream;
        const auto closeBoth = [pipe] {
            if (pipe->client)
                pipe->client->abort();
        };
        connect(client, &QTcpSocket::readyRead, this, [this, pipe] { forward(*pipe); });
        connect(upstream, &QTcpSocket::connected, this, [this, pipe] { forward(*pipe); });
        connect(upstream, &QTcpSocket::readyRead, client, [client, upstream] { client->write(upstream->readAll()); });
        // A server that goes away takes the client's connection with it, as
        // a dead server's own connection would.
        connect(upstream, &QTcpSocket::disconnected, client, closeBoth);
        connect(upstream, &QTcpSocket::errorOccurred, client, closeBoth);
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        upstream->connectToHost(QHostAddress::LocalHost, m_upstreamPort);
    }
}

void StallingProxy::forward(Pipe &pipe)
{
    if (!pipe.client || !pipe.upstream)
        return;
    pipe.received += pipe.client->readAll();
    if (pipe.upstream->state() != QAbstractSocket::ConnectedState)
        return;
    qint64 end = pipe.received.size();
    if (!m_requestLine.isEmpty()) {
        const qint64 at = pipe.received.indexOf(m_requestLine);
        if (at >= 0 && at + m_limit <= end) {
            end = at + m_limit;
            m_stalled = true;
        }
    }
    if (end > pipe.forwarded) {
        pipe.upstream->write(pipe.received.constData() + pipe.forwarded, end - pipe.forwarded);
        pipe.forwarded = end;
    }
}
