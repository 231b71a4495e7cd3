// The tessivo-relay program itself: administration commands, start-up on a
// free port, and the graceful stop on SIGTERM with a request in flight.
#include "RelayTestSupport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
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
        relay.setProcessChannelMode(QProcess::SeparateChannels);
        relay.start(QStringLiteral(TESSIVO_RELAY_BINARY),
                    QStringList{QStringLiteral("serve"), QStringLiteral("--port"), QStringLiteral("0"),
                                QStringLiteral("--monday-api-url"), monday.apiUrl(), QStringLiteral("--monday-file-url"),
                                monday.fileUrl()}
                        + common());
        QVERIFY(relay.waitForStarted());
        QByteArray log;
        quint16 port = 0;
        const QRegularExpression listening(QStringLiteral("listening on 127\\.0\\.0\\.1:(\\d+)"));
        QTRY_VERIFY_WITH_TIMEOUT((log += relay.readAllStandardError(), port = quint16(listening.match(QString::fromUtf8(log)).captured(1).toUInt())) != 0, 10000);

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
};

QTEST_GUILESS_MAIN(TestRelayProcess)
#include "tst_relay_process.moc"
