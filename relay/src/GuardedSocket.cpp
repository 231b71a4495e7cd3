#include "GuardedSocket.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace relay {
namespace {

QPointer<GuardedSocket> &currentSocket()
{
    static QPointer<GuardedSocket> socket;
    return socket;
}

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 400: return "Bad Request";
    case 408: return "Request Timeout";
    case 411: return "Length Required";
    case 413: return "Payload Too Large";
    case 431: return "Request Header Fields Too Large";
    default: return "Error";
    }
}

} // namespace

GuardedSocket::GuardedSocket(const ConnectionLimits &limits, RejectLog log, QObject *parent)
    : QTcpSocket(parent), m_limits(limits), m_log(std::move(log))
{
    // Connected before QHttpServer connects its own slots, so these run
    // first for every signal.
    connect(this, &QTcpSocket::readyRead, &m_context, [this] { onReadyRead(); });
    connect(this, &QTcpSocket::disconnected, &m_context, [this] { onDisconnected(); });
    setDeadline(m_limits.idleTimeoutMs);
}

qint64 GuardedSocket::nowMs()
{
    static const QElapsedTimer clock = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return clock.elapsed();
}

QString GuardedSocket::clientAddress()
{
    if (m_clientAddress.isEmpty()) {
        QHostAddress address = peerAddress();
        bool isV4 = false;
        const quint32 v4 = address.toIPv4Address(&isV4);
        if (isV4)
            address = QHostAddress(v4);
        m_clientAddress = address.toString();
    }
    return m_clientAddress;
}

GuardedSocket *GuardedSocket::current()
{
    return currentSocket().data();
}

void GuardedSocket::beginResponse()
{
    ++m_pending;
}

void GuardedSocket::endResponse()
{
    if (m_pending > 0)
        --m_pending;
    // Answers go out in the order of the requests.
    const bool close = !m_closeAfter.isEmpty() && m_closeAfter.takeFirst();
    if (close && !m_closed) {
        disconnectFromHost(); // once the answer has been written
        return;
    }
    if (m_pending == 0) {
        if (m_closed)
            deleteLater();
        else
            armIdleOrRequestDeadline();
    }
}

void GuardedSocket::requestComplete()
{
    m_closeAfter.append(m_closeAfterResponse);
    m_state = State::Head;
    armIdleOrRequestDeadline();
}

void GuardedSocket::armIdleOrRequestDeadline()
{
    if (m_state == State::Rejected)
        return;
    const bool midRequest = m_state == State::Body || !m_head.isEmpty();
    if (!midRequest)
        setDeadline(m_limits.idleTimeoutMs);
    // Mid-request the deadline set when the request began stands.
}

void GuardedSocket::onReadyRead()
{
    currentSocket() = this;
    if (m_state == State::Rejected) {
        // Drain what the client still sends after the refusal (see reject).
        const QByteArray dropped = read(bytesAvailable());
        m_drainLeft -= dropped.size();
        if (m_drainLeft <= 0 && bytesToWrite() == 0)
            disconnectFromHost();
        else
            setDeadline(int(std::min<qint64>(kLingerQuietMs, m_lingerEndMs - nowMs())));
        return;
    }
    const qint64 available = bytesAvailable();
    if (m_state == State::Body && available <= m_bodyLeft) {
        // All of it is body: count it without copying it.
        m_bodyLeft -= available;
        if (m_bodyLeft == 0)
            requestComplete();
        return;
    }
    consume(peek(available));
}

void GuardedSocket::consume(QByteArrayView bytes)
{
    qsizetype i = 0;
    while (i < bytes.size() && m_state != State::Rejected) {
        if (m_state == State::Body) {
            const qint64 take = std::min<qint64>(m_bodyLeft, bytes.size() - i);
            m_bodyLeft -= take;
            i += take;
            if (m_bodyLeft == 0)
                requestComplete();
            continue;
        }
        // Head: empty lines between requests are ignored.
        if (m_head.isEmpty() && (bytes[i] == '\r' || bytes[i] == '\n')) {
            ++i;
            continue;
        }
        if (m_head.isEmpty()) {
            m_requestClock.start();
            setDeadline(m_limits.requestTimeoutMs);
        }
        const qsizetype room = m_limits.maxHeaderBytes + 4 - m_head.size();
        const qsizetype take = std::min<qsizetype>(room, bytes.size() - i);
        const qsizetype before = m_head.size();
        m_head.append(bytes.sliced(i, take));
        const qsizetype end = m_head.indexOf("\r\n\r\n", std::max<qsizetype>(0, before - 3));
        if (end < 0) {
            if (m_head.size() > m_limits.maxHeaderBytes) {
                reject(431, "the request line and headers are too large");
                return;
            }
            i += take;
            continue;
        }
        // The head ends inside this chunk: the rest belongs to the body.
        i += (end + 4) - before;
        m_head.truncate(end + 4);
        if (!headComplete())
            return;
    }
}

bool GuardedSocket::headComplete()
{
    // The request line, then "Name: value" lines, each ending in LF.
    qsizetype lineEnd = m_head.indexOf('\n');
    const QByteArray first = m_head.left(lineEnd).trimmed();
    const QList<QByteArray> requestLine = first.split(' ');
    m_method = requestLine.value(0);
    const QByteArray target = requestLine.value(1);
    const qsizetype question = target.indexOf('?');
    m_path = question < 0 ? target : target.left(question);
    if (m_path.size() > 200)
        m_path = m_path.left(200) + "...";
    qint64 length = 0;
    bool sawLength = false;
    bool chunked = false;
    bool expectContinue = false;
    m_closeAfterResponse = requestLine.value(2) == "HTTP/1.0";
    while (lineEnd >= 0 && lineEnd + 1 < m_head.size()) {
        const qsizetype start = lineEnd + 1;
        lineEnd = m_head.indexOf('\n', start);
        const QByteArrayView line = QByteArrayView(m_head).sliced(start, (lineEnd < 0 ? m_head.size() : lineEnd) - start);
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            continue;
        const QByteArrayView name = line.first(colon).trimmed();
        const QByteArrayView value = line.sliced(colon + 1).trimmed();
        if (name.compare("content-length", Qt::CaseInsensitive) == 0) {
            bool ok = false;
            const qint64 n = value.toLongLong(&ok);
            if (!ok || n < 0 || (sawLength && n != length)) {
                reject(400, "the Content-Length header is malformed");
                return false;
            }
            length = n;
            sawLength = true;
        } else if (name.compare("transfer-encoding", Qt::CaseInsensitive) == 0) {
            chunked = true;
        } else if (name.compare("connection", Qt::CaseInsensitive) == 0) {
            m_closeAfterResponse = value.compare("close", Qt::CaseInsensitive) == 0
                || (m_closeAfterResponse && value.compare("keep-alive", Qt::CaseInsensitive) != 0);
        } else if (name.compare("expect", Qt::CaseInsensitive) == 0
                   && value.compare("100-continue", Qt::CaseInsensitive) == 0) {
            expectContinue = true;
        }
    }
    if (requestLine.size() != 3 || m_method.isEmpty() || !target.startsWith('/')) {
        reject(400, "the request line is malformed");
        return false;
    }
    if (chunked) {
        reject(411, "chunked request bodies are not accepted; send a Content-Length");
        return false;
    }
    if (length > m_limits.maxBodyBytes) {
        m_drainLeft = length;
        reject(413, "the request body is larger than the relay accepts");
        return false;
    }
    if (expectContinue && length > 0)
        write("HTTP/1.1 100 Continue\r\n\r\n");
    m_head.clear();
    m_bodyLeft = length;
    if (length == 0) {
        requestComplete();
        return true;
    }
    m_state = State::Body;
    // A large upload on a slow link gets the time it needs at a modest rate,
    // never an unbounded one.
    setDeadline(m_limits.requestTimeoutMs + int(std::min<qint64>(length * 1000 / kMinBodyBytesPerSecond, 3600000)));
    return true;
}

void GuardedSocket::reject(int status, const QByteArray &message)
{
    m_state = State::Rejected;
    // QHttpServer reads no more of this connection.
    disconnect(this, &QTcpSocket::readyRead, nullptr, nullptr);
    connect(this, &QTcpSocket::readyRead, &m_context, [this] { onReadyRead(); });
    if (isTransactionStarted())
        commitTransaction();
    // The answer goes out at once; the connection closes only once the
    // client has stopped sending. Closed with bytes unread, the socket would
    // answer them with a reset, and a client still sending its body (a
    // streamed upload, an upload with a cookie over the header limit) would
    // meet the reset instead of the answer. So what the client still sends
    // is read and dropped until it closes or has been quiet for a second, up
    // to the declared body (413) or the body limit when the length is
    // unknown, and for no longer than a request may take to arrive. The
    // head's size is added because some of what is read here is the head.
    m_drainLeft = (m_drainLeft > 0 ? m_drainLeft : m_limits.maxBodyBytes) + m_limits.maxHeaderBytes;
    m_drainLeft -= read(bytesAvailable()).size(); // what was peeked is dropped
    m_lingerEndMs = nowMs() + m_limits.requestTimeoutMs;

    const QByteArray body = QJsonDocument(QJsonObject{{QStringLiteral("error"), QString::fromUtf8(message)},
                                                      {QStringLiteral("status"), status}})
                                .toJson(QJsonDocument::Compact);
    write("HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status)
          + "\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size())
          + "\r\nConnection: close\r\n\r\n" + body);
    flush();
    if (m_log)
        m_log(m_method.isEmpty() ? QByteArray("-") : m_method, m_path.isEmpty() ? QByteArray("-") : m_path,
              status, m_requestClock.isValid() ? m_requestClock.nsecsElapsed() / 1e6 : 0.0);
    setDeadline(kLingerQuietMs);
    if (m_drainLeft <= 0)
        disconnectFromHost();
}

void GuardedSocket::checkDeadline(qint64 now)
{
    if (m_closed || now < m_deadlineMs)
        return;
    if (m_state == State::Rejected) {
        abort();
        return;
    }
    if (m_pending > 0) {
        setDeadline(m_limits.idleTimeoutMs); // a response is still being computed
        return;
    }
    if (m_state == State::Body || !m_head.isEmpty()) {
        reject(408, "the request did not arrive in time");
        return;
    }
    disconnectFromHost(); // idle keep-alive connection
}

void GuardedSocket::onDisconnected()
{
    m_closed = true;
    if (m_pending > 0) {
        // QHttpServer would delete the socket now while a response is still
        // on its way to it; this object deletes itself in endResponse.
        disconnect(this, &QAbstractSocket::disconnected, this, nullptr);
    }
}

} // namespace relay
