#include "LocalHttpServer.h"

#include <QTcpSocket>

namespace tessivo::test {

QString HttpRequest::path() const
{
    const int q = target.indexOf('?');
    return QString::fromUtf8(q < 0 ? target : target.left(q));
}

QUrlQuery HttpRequest::query() const
{
    const int q = target.indexOf('?');
    return QUrlQuery(q < 0 ? QString() : QString::fromUtf8(target.mid(q + 1)));
}

LocalHttpServer::LocalHttpServer(Handler handler, QObject *parent)
    : QObject(parent), m_handler(std::move(handler))
{
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, &LocalHttpServer::onConnection);
}

QString LocalHttpServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void LocalHttpServer::onConnection()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            buffer->append(socket->readAll());
            const int end = buffer->indexOf("\r\n\r\n");
            if (end < 0)
                return;
            HttpRequest request;
            const QList<QByteArray> lines = buffer->left(end).split('\n');
            const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
            request.method = first.value(0);
            request.target = first.value(1);
            for (int i = 1; i < lines.size(); ++i) {
                const int colon = lines[i].indexOf(':');
                if (colon > 0)
                    request.headers.insert(lines[i].left(colon).trimmed().toLower(),
                                           lines[i].mid(colon + 1).trimmed());
            }
            const int length = request.headers.value("content-length", "0").toInt();
            if (buffer->size() < end + 4 + length)
                return; // wait for the whole body
            request.body = buffer->mid(end + 4, length);
            request.raw = buffer->left(end + 4 + length);
            buffer->remove(0, end + 4 + length);
            m_requests.append(request);
            const HttpResponse response = m_handler ? m_handler(request) : HttpResponse{404, {}, "text/plain"};
            QByteArray out = "HTTP/1.1 " + QByteArray::number(response.status) + " X\r\n";
            out += "Content-Type: " + response.contentType + "\r\n";
            out += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
            out += "Connection: close\r\n\r\n";
            out += response.body;
            socket->write(out);
            socket->disconnectFromHost();
            Q_EMIT requestReceived();
        });
    }
}

} // namespace tessivo::test
