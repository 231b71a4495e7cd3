// A TCP proxy on 127.0.0.1 in front of a server whose port may change (a
// restarted relay). It can hold back a request midway, so that a test knows
// the server has read part of it and no more.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QTcpServer>

class QTcpSocket;

class StallingProxy : public QObject
{
    Q_OBJECT
public:
    explicit StallingProxy(QObject *parent = nullptr);

    QString baseUrl() const;
    /// Where new connections go; open ones keep their server.
    void setUpstreamPort(quint16 port) { m_upstreamPort = port; }

    /// From now on, a request whose bytes contain `requestLine` is
    /// forwarded only up to `bytes` bytes past the start of that line; the
    /// rest is held back.
    void stallAfter(const QByteArray &requestLine, qint64 bytes);
    void forwardEverything();
    /// Whether some connection has reached its limit.
    bool hasStalled() const { return m_stalled; }

private:
    struct Pipe;
    void accept();
    void forward(Pipe &pipe);

    QTcpServer m_server;
    quint16 m_upstreamPort = 0;
    QByteArray m_requestLine;
    qint64 m_limit = -1;
    bool m_stalled = false;
};
