#include "HangUpServer.h"

#include <QTcpSocket>

#include <memory>

namespace tessivo::test {

HangUpServer::HangUpServer(When when, QObject *parent) : QObject(parent), m_when(when)
{
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, &HangUpServer::onConnection);
}

QString HangUpServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void HangUpServer::answerNext(int count, const QByteArray &body)
{
    m_toAnswer = count;
    m_answer = body;
}

void HangUpServer::onConnection()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        auto buffer = std::make_shared<QByteArray>();
        auto entry = std::make_shared<qsizetype>(-1); // the current request's index in m_received
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer, entry] {
            buffer->append(socket->readAll());
            while (socket->state() == QAbstractSocket::ConnectedState) {
                const qsizetype end = buffer->indexOf("\r\n\r\n");
                if (end < 0)
                    return;
                if (*entry < 0) {
                    Received r;
                    r.requestLine = buffer->left(buffer->indexOf("\r\n"));
                    for (const QByteArray &line : buffer->left(end).split('\n')) {
                        if (line.toLower().startsWith("content-length:"))
                            r.contentLength = line.mid(15).trimmed().toLongLong();
                    }
                    m_received.append(r);
                    *entry = m_received.size() - 1;
                }
                Received &r = m_received[*entry];
                r.bodyBytes = qMin(buffer->size() - (end + 4), r.contentLength);
                const bool whole = r.bodyBytes == r.contentLength;
                if (whole && m_toAnswer > 0) {
                    --m_toAnswer;
                    r.answered = true;
                    socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
                                  + QByteArray::number(m_answer.size()) + "\r\n\r\n" + m_answer);
                    buffer->remove(0, end + 4 + r.contentLength);
                    *entry = -1;
                    continue;
                }
                if (m_when == When::midBody ? (!whole && r.bodyBytes > 0) : whole)
                    socket->close(); // no answer, nothing more read
                return;
            }
        });
    }
}

} // namespace tessivo::test
