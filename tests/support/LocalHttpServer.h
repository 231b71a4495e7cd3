// A small HTTP/1.1 server on 127.0.0.1 for tests: it records every request
// byte for byte and answers through a handler.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QTcpServer>
#include <QUrl>
#include <QUrlQuery>

#include <functional>

namespace tessivo::test {

struct HttpRequest {
    QByteArray method;
    QByteArray target; // path and query as sent
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
    QByteArray raw;
    QString path() const;
    QUrlQuery query() const;
};

struct HttpResponse {
    int status = 200;
    QByteArray body;
    QByteArray contentType = "application/json";
};

class LocalHttpServer : public QObject
{
    Q_OBJECT
public:
    using Handler = std::function<HttpResponse(const HttpRequest &)>;

    explicit LocalHttpServer(Handler handler, QObject *parent = nullptr);
    /// The base URL, "http://127.0.0.1:<port>".
    QString baseUrl() const;
    quint16 port() const { return m_server.serverPort(); }
    QList<HttpRequest> requests() const { return m_requests; }
    void setHandler(Handler handler) { m_handler = std::move(handler); }
    /// Stops listening: later connections are refused.
    void close() { m_server.close(); }

Q_SIGNALS:
    void requestReceived();

private:
    void onConnection();

    QTcpServer m_server;
    Handler m_handler;
    QList<HttpRequest> m_requests;
};

} // namespace tessivo::test
