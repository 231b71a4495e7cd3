// One client connection to the relay over a plain socket, one request at a
// time. A raw socket rather than QNetworkAccessManager: the soak decides
// each request's bytes (malformed ones included), whether a connection is
// kept alive, and must see every failure instead of a silent retry.
#pragma once

#include "HttpAnswerParser.h"

#include <QObject>
#include <QTcpSocket>

namespace soak {

/// Milliseconds on the monotonic clock every deadline of the soak reads.
qint64 nowMs();

class HttpConnection : public QObject
{
    Q_OBJECT
public:
    HttpConnection(const QString &host, quint16 port, QObject *parent = nullptr);

    /// Writes `bytes` (connecting first when needed) and waits for one
    /// answer: answered() or failed() follows, once.
    void send(const QByteArray &bytes);
    /// Closes from this side; an outstanding request is dropped silently.
    void close();

    bool busy() const { return m_busy; }
    /// Bytes of the request not yet handed to the system.
    qint64 unwritten() const { return m_pendingWrite.size() + m_socket.bytesToWrite(); }
    /// Connected (or connecting) and not told by the relay that it closes.
    bool reusable() const;
    bool everConnected() const { return m_everConnected; }
    int requestsSent() const { return m_requests; }
    qint64 busySinceMs() const { return m_busySinceMs; }
    qint64 idleSinceMs() const { return m_idleSinceMs; }

Q_SIGNALS:
    void answered(const soak::HttpAnswer &answer);
    void failed(const QString &error);
    /// The relay closed the connection while no request was outstanding.
    void closedWhileIdle();
    /// Bytes arrived while no request was outstanding.
    void unsolicited(const QByteArray &bytes);
    /// The whole request has been written (after an answer that came early).
    void written();
    /// After its answer, the connection ended with `unwritten` bytes of the
    /// request never sent: a client that sends its whole request before
    /// reading would have met a reset instead of the answer.
    void cutShort(qint64 unwritten);

private:
    void onReadyRead();
    void onClosed(const QString &reason);
    void finishRequest();

    QTcpSocket m_socket;
    QString m_host;
    quint16 m_port;
    HttpAnswerParser m_parser;
    QByteArray m_pendingWrite;
    bool m_busy = false;
    bool m_everConnected = false;
    bool m_peerWillClose = false;
    bool m_closedHere = false;
    qint64 m_unwrittenAtClose = -1;
    int m_requests = 0;
    qint64 m_busySinceMs = 0;
    qint64 m_idleSinceMs = 0;
};

} // namespace soak
