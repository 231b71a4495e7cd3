// A server on 127.0.0.1 that hangs up without answering: it closes the
// connection once the whole request has arrived, or as soon as its head and
// part of its body have. It can answer a number of requests first, keeping
// their connections open, so that the next request may travel on a reused
// connection. It keeps what reached it, so that a test can count requests.
#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QTcpServer>

namespace tessivo::test {

class HangUpServer : public QObject
{
    Q_OBJECT
public:
    enum class When { afterRequest, midBody };

    struct Received {
        QByteArray requestLine;
        qint64 contentLength = 0;
        qint64 bodyBytes = 0; // body bytes read before answering or hanging up
        bool answered = false;
    };

    explicit HangUpServer(When when = When::afterRequest, QObject *parent = nullptr);
    /// The base URL, "http://127.0.0.1:<port>".
    QString baseUrl() const;
    void setWhen(When when) { m_when = when; }
    /// The next `count` whole requests are answered with `body` (JSON, status
    /// 200, connection kept alive) before the server hangs up again.
    void answerNext(int count, const QByteArray &body);
    /// One entry per request head that arrived.
    QList<Received> received() const { return m_received; }
    void clear() { m_received.clear(); }

private:
    void onConnection();

    QTcpServer m_server;
    When m_when;
    int m_toAnswer = 0;
    QByteArray m_answer;
    QList<Received> m_received;
};

} // namespace tessivo::test
