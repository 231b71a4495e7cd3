// A connection as QHttpServer sees it, with the limits QHttpServer 6.4 lacks.
// It reads along (peeks) every byte before QHttpServer does and:
// - refuses request heads over the header limit (431), bodies over the body
//   limit (413, before the body is read), chunked bodies (411) and requests
//   that do not arrive in time (408), each with a JSON error, then closes
//   in stages so that a client still sending reads the refusal;
// - closes idle keep-alive connections (GuardedTcpServer sweeps the
//   deadlines), and a connection whose client asked for its close once the
//   answer is out;
// - keeps itself alive while a response is still being computed, so that a
//   client that hangs up early never leaves QHttpServer writing to a deleted
//   socket.
#pragma once

#include <QElapsedTimer>
#include <QPointer>
#include <QTcpSocket>

#include <functional>

namespace relay {

/// A request body must arrive at least this fast on top of the request
/// time-out (so a 50 MiB video may take the time-out plus 25 minutes).
constexpr qint64 kMinBodyBytesPerSecond = 32 * 1024;
/// After a refusal the connection closes once the client has sent nothing
/// for this long.
constexpr int kLingerQuietMs = 1000;

struct ConnectionLimits {
    qint64 maxBodyBytes = 50 * 1024 * 1024;
    int maxHeaderBytes = 16 * 1024;
    int requestTimeoutMs = 30000;
    int idleTimeoutMs = 60000;
};

class GuardedSocket : public QTcpSocket
{
    Q_OBJECT
public:
    /// Called for every request the guard answers itself: method, path
    /// (without query), status, duration in ms.
    using RejectLog = std::function<void(const QByteArray &, const QByteArray &, int, double)>;

    GuardedSocket(const ConnectionLimits &limits, RejectLog log, QObject *parent = nullptr);

    /// The connection whose data QHttpServer is handling right now (route
    /// handlers run synchronously inside its readyRead).
    static GuardedSocket *current();

    /// A response for this connection is being computed / has been sent.
    void beginResponse();
    void endResponse();
    int pendingResponses() const { return m_pending; }

    /// Enforces the time limits; the server calls it a few times a second
    /// (one sweep for all connections is cheaper than a timer restarted at
    /// every request).
    void checkDeadline(qint64 nowMs);
    /// The clock all deadlines are read from.
    static qint64 nowMs();

    /// The peer's address as text (IPv4-mapped addresses as IPv4), made once.
    QString clientAddress();

private:
    enum class State { Head, Body, Rejected };

    void onReadyRead();
    void onDisconnected();
    void consume(QByteArrayView bytes);
    bool headComplete();
    void reject(int status, const QByteArray &message);
    void setDeadline(int fromNowMs) { m_deadlineMs = nowMs() + fromNowMs; }
    void armIdleOrRequestDeadline();
    void requestComplete();

    ConnectionLimits m_limits;
    RejectLog m_log;
    QObject m_context; // receiver of the guard's own connections
    qint64 m_deadlineMs = 0;
    QString m_clientAddress;
    State m_state = State::Head;
    QByteArray m_head;
    QByteArray m_method;
    QByteArray m_path;
    qint64 m_bodyLeft = 0;
    QElapsedTimer m_requestClock;
    int m_pending = 0;
    bool m_closeAfterResponse = false; // of the request being read: "Connection: close", or HTTP/1.0
    QList<bool> m_closeAfter;          // of each request read and not yet answered, in order
    bool m_closed = false;
    qint64 m_drainLeft = 0;   // after a refusal: what is still read and dropped
    qint64 m_lingerEndMs = 0; // after a refusal: the close comes by then at the latest
};

} // namespace relay
