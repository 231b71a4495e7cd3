// The reference for the relay benchmark: the smallest QHttpServer program,
// one route answering a short text. Prints its port on standard output.
#include <QCoreApplication>
#include <QHttpServer>
#include <QHttpServerResponse>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QHttpServer server;
    server.route(QStringLiteral("/hello"), [] { return QHttpServerResponse(QByteArrayLiteral("text/plain"), "Hello"); });
    const quint16 port = server.listen(QHostAddress::LocalHost, 0);
    if (port == 0)
        return 1;
    std::printf("listening on 127.0.0.1:%u\n", unsigned(port));
    std::fflush(stdout);
    return app.exec();
}
