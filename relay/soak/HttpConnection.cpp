#include "HttpConnection.h"

#include <QElapsedTimer>

namespace soak {

qint64 nowMs()
{
    static const QElapsedTimer clock = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return clock.elapsed();
}

HttpConnection::HttpConnection(const QString &host, quint16 port, QObject *parent)
    : QObject(parent), m_socket(this), m_host(host), m_port(port)
{
    m_idleSinceMs = nowMs();
    connect(&m_socket, &QTcpSocket::connected, this, [this] {
        m_everConnected = true;
        if (!m_pendingWrite.isEmpty())
            m_socket.write(std::exchange(m_pendingWrite, {}));
    });
    connect(&m_socket, &QTcpSocket::readyRead, this, &HttpConnection::onReadyRead);
    connect(&m_socket, &QTcpSocket::bytesWritten, this, [this] {
        if (!m_busy && unwritten() == 0)
            Q_EMIT written();
    });
    connect(&m_socket, &QTcpSocket::disconnected, this, [this] { onClosed(QStringLiteral("closed by the relay")); });
    connect(&m_socket, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        // Qt drops what it had still to write once the connection has
        // ended; it is counted here, while it is still there. A clean
        // close arrives as disconnected() as well; every other error ends
        // the connection here.
        if (m_unwrittenAtClose < 0)
            m_unwrittenAtClose = unwritten();
        if (error != QAbstractSocket::RemoteHostClosedError)
            onClosed(m_socket.errorString());
    });
}

bool HttpConnection::reusable() const
{
    return !m_peerWillClose && !m_closedHere
        && (m_socket.state() == QAbstractSocket::ConnectedState || m_socket.state() == QAbstractSocket::ConnectingState);
}

void HttpConnection::send(const QByteArray &bytes)
{
    Q_ASSERT(!m_busy);
    m_busy = true;
    m_busySinceMs = nowMs();
    ++m_requests;
    if (m_socket.state() == QAbstractSocket::ConnectedState) {
        m_socket.write(bytes);
        return;
    }
    m_pendingWrite += bytes;
    if (m_socket.state() == QAbstractSocket::UnconnectedState)
        m_socket.connectToHost(m_host, m_port);
}

void HttpConnection::close()
{
    m_closedHere = true;
    m_busy = false;
    m_socket.abort();
}

void HttpConnection::finishRequest()
{
    m_busy = false;
    m_idleSinceMs = nowMs();
}

void HttpConnection::onReadyRead()
{
    const QByteArray bytes = m_socket.readAll();
    if (!m_busy) {
        if (!m_closedHere)
            Q_EMIT unsolicited(bytes);
        return;
    }
    const HttpAnswerParser::State state = m_parser.feed(bytes);
    if (state == HttpAnswerParser::State::NeedMore)
        return;
    finishRequest();
    if (state == HttpAnswerParser::State::Malformed) {
        const QString error = m_parser.error();
        close();
        Q_EMIT failed(QStringLiteral("a malformed answer: ") + error);
        return;
    }
    const HttpAnswer answer = m_parser.take();
    m_peerWillClose = m_peerWillClose || answer.closesConnection();
    if (!m_parser.idle()) {
        Q_EMIT unsolicited(QByteArrayLiteral("bytes after a complete answer"));
        close();
    }
    Q_EMIT answered(answer);
}

void HttpConnection::onClosed(const QString &reason)
{
    if (m_closedHere)
        return;
    m_closedHere = true;
    const qint64 unsent = std::max(m_unwrittenAtClose, unwritten());
    if (!m_busy) {
        if (unsent > 0)
            Q_EMIT cutShort(unsent);
        else
            Q_EMIT closedWhileIdle();
        return;
    }
    finishRequest();
    if (m_parser.finish() == HttpAnswerParser::State::Complete) {
        Q_EMIT answered(m_parser.take());
        if (unsent > 0)
            Q_EMIT cutShort(unsent);
        return;
    }
    QString state = m_everConnected ? QStringLiteral("was connected") : QStringLiteral("never connected");
    if (unsent > 0)
        state += QStringLiteral(", %1 bytes of the request unsent").arg(unsent);
    Q_EMIT failed(QStringLiteral("%1 (%2; %3)").arg(m_parser.error(), reason, state));
}

} // namespace soak
