// The tessivo-relay program itself: administration commands, start-up on a
// free port, and the graceful stop on SIGTERM with a request in flight.
#include "RelayTestSupport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QtTest>

#include <csignal>

using namespace relaytest;

class TestRelayProcess : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QStringList common() const
    {
        QStringList args{QStringLiteral("--data-dir"), m_dir.path()};
        if (TestDatabase::wantsPostgres())
            args << QStringLiteral("--database-url") << TestDatabase::postgresUrl();
        return args;
    }

    int run(const QStringList &args, QByteArray *out, QByteArray *err = nullptr)
    {
        QProcess p;
        p.start(QStringLiteral(TESSIVO_RELAY_BINARY), args + common());
        if (!p.waitForFinished(20000))
            return -1;
        *out = p.readAllStandardOutput();
        if (err)
            *err = p.readAllStandardError();
        return p.exitCode();
    }

    /// Starts `tessivo-relay serve` on a free port; the port, or 0.
    quint16 serve(QProcess &relay, const QStringList &args, QByteArray *log)
    {
        relay.setProcessChannelMode(QProcess::SeparateChannels);
        relay.start(QStringLiteral(TESSIVO_RELAY_BINARY),
                    QStringList{QStringLiteral("serve"), QStringLiteral("--port"), QStringLiteral("0")} + args + common());
        if (!relay.waitForStarted())
            return 0;
        const QRegularExpression listening(QStringLiteral("listening on 127\\.0\\.0\\.1:(\\d+)"));
        QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired() && relay.state() == QProcess::Running) {
            relay.waitForReadyRead(100);
            *log += relay.readAllStandardError();
            if (const auto match = listening.match(QString::fromUtf8(*log)); match.hasMatch())
                return quint16(match.captured(1).toUInt());
        }
        return 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (TestDatabase::wantsPostgres() && TestDatabase::postgresUrl().isEmpty())
            QSKIP("No PostgreSQL server given: set TESSIVO_TEST_POSTGRES_URL (scripts/ci-postgres.sh starts one).");
        if (TestDatabase::wantsPostgres()) {
            QString error;
            QVERIFY2(TestDatabase::wipePostgres(&error), qPrintable(error));
        }
    }

    void productAdministration()
    {
        QByteArray out, err;
        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"), QStringLiteral("com.example.cli")}, &out), 0);
        const QString inboxId = QString::fromUtf8(out).trimmed();
        QVERIFY(QRegularExpression(QStringLiteral("^[0-9a-f]{32}$")).match(inboxId).hasMatch());

        QFile tokenFile(m_dir.filePath(QStringLiteral("monday.token")));
        QVERIFY(tokenFile.open(QIODevice::WriteOnly));
        tokenFile.write("cli-secret-token\n");
        tokenFile.close();
        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"), QStringLiteral("com.example.monday"),
                      QStringLiteral("--sink"), QStringLiteral("monday"), QStringLiteral("--board-id"), QStringLiteral("77"),
                      QStringLiteral("--group-id"), QStringLiteral("topics"), QStringLiteral("--file-column-id"), QStringLiteral("files"),
                      QStringLiteral("--token-file"), tokenFile.fileName()},
                     &out, &err),
                 0);
        // A monday product without its file column is refused.
        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"), QStringLiteral("com.x"),
                      QStringLiteral("--sink"), QStringLiteral("monday"), QStringLiteral("--board-id"), QStringLiteral("1"),
                      QStringLiteral("--group-id"), QStringLiteral("g"), QStringLiteral("--token-file"), tokenFile.fileName()},
                     &out, &err),
                 2);
        // The same bundle twice is refused.
        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"), QStringLiteral("com.example.cli")}, &out, &err), 1);

        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("list")}, &out), 0);
        QVERIFY(out.contains(inboxId.toUtf8() + "\tcom.example.cli\tinbox"));
        QVERIFY(out.contains("com.example.monday\tmonday\t77\ttopics\tfiles"));
        QVERIFY(!out.contains("cli-secret-token"));

        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("remove"), QStringLiteral("com.example.cli")}, &out), 0);
        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("list")}, &out), 0);
        QVERIFY(!out.contains("com.example.cli"));
        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("remove"), QStringLiteral("com.example.cli")}, &out, &err), 1);

        QByteArray first, second;
        QCOMPARE(run({QStringLiteral("admin-token")}, &first), 0);
        QCOMPARE(run({QStringLiteral("admin-token")}, &second), 0);
        QCOMPARE(first, second);
        QVERIFY(first.trimmed().size() >= 32);
    }

    void serveAndStopGracefullyOnSigterm()
    {
        StandInMonday monday;
        monday.setMode(StandInMonday::Mode::Slow);
        monday.setDelayMs(800);
        QByteArray out;
        QFile tokenFile(m_dir.filePath(QStringLiteral("t2")));
        QVERIFY(tokenFile.open(QIODevice::WriteOnly));
        tokenFile.write("tok");
        tokenFile.close();
        QCOMPARE(run({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"), QStringLiteral("com.example.sig"),
                      QStringLiteral("--sink"), QStringLiteral("monday"), QStringLiteral("--board-id"), QStringLiteral("1"),
                      QStringLiteral("--group-id"), QStringLiteral("g"), QStringLiteral("--file-column-id"), QStringLiteral("files"),
                      QStringLiteral("--token-file"), tokenFile.fileName()},
                     &out),
                 0);
        const QString productId = QString::fromUtf8(out).trimmed();

        QProcess relay;
        QByteArray log;
        const quint16 port = serve(relay,
                                   {QStringLiteral("--monday-api-url"), monday.apiUrl(),
                                    QStringLiteral("--monday-file-url"), monday.fileUrl()},
                                   &log);
        QVERIFY(port != 0);

        HttpClient http;
        QCOMPARE(http.get(QStringLiteral("http://127.0.0.1:%1/healthz").arg(port)).status, 200);

        QNetworkAccessManager nam;
        QNetworkRequest request{QUrl(QStringLiteral("http://127.0.0.1:%1/monday/add-item?productId=%2").arg(port).arg(productId))};
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        QNetworkReply *reply = nam.post(request, QByteArray("{\"item_name\":\"in flight\"}"));
        QTRY_COMPARE_WITH_TIMEOUT(monday.calls().size(), 1, 15000);
        ::kill(pid_t(relay.processId()), SIGTERM);
        QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 10000);
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
        QCOMPARE(QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("id")).toString(),
                 QStringLiteral("9000001"));
        QVERIFY(relay.waitForFinished(10000));
        QCOMPARE(relay.exitStatus(), QProcess::NormalExit);
        QCOMPARE(relay.exitCode(), 0);
        log += relay.readAllStandardError();
        QVERIFY(log.contains("signal 15: finishing the requests in flight"));
        QVERIFY(log.contains("POST /monday/add-item 200"));
        QVERIFY(log.contains("stopped"));
        QVERIFY(!log.contains("tok\n"));
        reply->deleteLater();
    }

    void refusalReachesAClientThatSendsItsWholeRequestFirst_data()
    {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("status");
        QTest::newRow("streamed upload") << QByteArray("POST /monday/upload-file HTTP/1.1\r\nHost: x\r\n"
                                                       "Transfer-Encoding: chunked\r\n\r\n800000\r\n")
                                         << 411;
        QTest::newRow("cookie over the header limit")
            << QByteArray("POST /monday/upload-file HTTP/1.1\r\nHost: x\r\nContent-Length: 8388608\r\nCookie: "
                          + QByteArray(40 * 1024, 'c') + "\r\n\r\n")
            << 431;
        QTest::newRow("malformed length") << QByteArray("POST /monday/add-item HTTP/1.1\r\nHost: x\r\n"
                                                        "Content-Length: 12x\r\n\r\n")
                                          << 400;
    }
    void refusalReachesAClientThatSendsItsWholeRequestFirst()
    {
        // Refused from its head while 8 MiB of body are still to come, more
        // than the system's buffers take: the relay must go on reading, or
        // the client, still writing, meets a reset instead of the answer.
        QFETCH(QByteArray, head);
        QFETCH(int, status);
        QProcess relay;
        QByteArray log;
        const quint16 port = serve(relay, {}, &log);
        QVERIFY(port != 0);

        QTcpSocket socket;
        QByteArray answer;
        connect(&socket, &QTcpSocket::readyRead, this, [&] { answer += socket.readAll(); });
        socket.connectToHost(QHostAddress::LocalHost, port);
        QVERIFY(socket.waitForConnected(5000));
        socket.write(head);
        const QByteArray block(64 * 1024, 'v');
        for (int i = 0; i < 128 && socket.state() == QAbstractSocket::ConnectedState; ++i) {
            socket.write(block);
            while (socket.bytesToWrite() > 0 && socket.waitForBytesWritten(5000)) {
            }
        }
        QVERIFY2(socket.state() == QAbstractSocket::ConnectedState,
                 qPrintable(QStringLiteral("the connection ended while the request was sent: %1").arg(socket.errorString())));
        QVERIFY(socket.waitForDisconnected(5000));
        QCOMPARE(rawStatus(answer), status);

        ::kill(pid_t(relay.processId()), SIGTERM);
        QVERIFY(relay.waitForFinished(10000));
        QCOMPARE(relay.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestRelayProcess)
#include "tst_relay_process.moc"
