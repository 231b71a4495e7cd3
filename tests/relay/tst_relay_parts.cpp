// The relay's parts on their own: multipart parsing, rate limiting,
// configuration, monday's answers, texts cut to a length.
#include "MondaySink.h"
#include "MultipartParser.h"
#include "RateLimiter.h"
#include "RelayConfig.h"
#include "TextCut.h"

#include <QtTest>

using namespace relay;

class TestRelayParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void boundaryForms_data()
    {
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QByteArray>("boundary");
        QTest::newRow("plain") << QByteArray("multipart/form-data; boundary=abc") << QByteArray("abc");
        QTest::newRow("kit's space") << QByteArray("multipart/form-data; boundary =8F0C-11") << QByteArray("8F0C-11");
        QTest::newRow("spaces both sides") << QByteArray("multipart/form-data; boundary = x") << QByteArray("x");
        QTest::newRow("quoted") << QByteArray("Multipart/Form-Data; charset=utf-8; boundary=\"a b;c\"") << QByteArray("a b;c");
        QTest::newRow("missing") << QByteArray("multipart/form-data") << QByteArray();
        QTest::newRow("empty") << QByteArray("multipart/form-data; boundary=") << QByteArray();
        QTest::newRow("too long") << QByteArray("multipart/form-data; boundary=" + QByteArray(71, 'a')) << QByteArray();
        QTest::newRow("other type") << QByteArray("text/plain; boundary=x") << QByteArray();
        QTest::newRow("unclosed quote") << QByteArray("multipart/form-data; boundary=\"abc") << QByteArray();
    }
    void boundaryForms()
    {
        QFETCH(QByteArray, contentType);
        QFETCH(QByteArray, boundary);
        const auto found = MultipartParser::boundary(contentType);
        QCOMPARE(found.value_or(QByteArray()), boundary);
    }

    void kitBodyInEitherOrder()
    {
        const QByteArray p = "--B\r\nContent-Disposition: form-data; name=\"productId\"\r\n\r\nP\r\n";
        const QByteArray t = "--B\r\nContent-Disposition: form-data; name=\"title\"\r\n\r\nUploadImage\r\n";
        const QByteArray f = "--B\r\nContent-Disposition: form-data; name=\"file\"; filename=\"testFile.png\"\r\n"
                             "Content-Type: image/png\r\n\r\nX\r\n--B--\r\n";
        for (const QByteArray &body : {p + t + f, t + p + f}) {
            QString error;
            const auto parts = MultipartParser::parse(body, "B", &error);
            QVERIFY2(parts, qPrintable(error));
            QCOMPARE(parts->size(), 3);
            const MultipartPart &file = parts->last();
            QCOMPARE(file.name, QStringLiteral("file"));
            QCOMPARE(file.fileName.value_or(QString()), QStringLiteral("testFile.png"));
            QCOMPARE(file.contentType, QByteArray("image/png"));
            QCOMPARE(file.data, QByteArray("X"));
        }
    }

    void trelloStyleLeadingLineAndEmptyPart()
    {
        const QByteArray body = "\r\n--B\r\nContent-Disposition: form-data; name=\"reqtype\"\r\n\r\n"
                                "\r\n--B\r\nContent-Disposition: form-data; name=\"file\"; filename=\"f.png\"\r\n"
                                "Content-Type: image/png\r\n\r\nX\r\n--B--\r\n";
        QString error;
        const auto parts = MultipartParser::parse(body, "B", &error);
        QVERIFY2(parts, qPrintable(error));
        QCOMPARE(parts->size(), 2);
        QCOMPARE(parts->first().data, QByteArray());
        QCOMPARE(parts->last().data, QByteArray("X"));
    }

    void malformed_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no delimiter") << QByteArray("hello");
        QTest::newRow("no closing") << QByteArray("--B\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nx");
        QTest::newRow("no header end") << QByteArray("--B\r\nContent-Disposition: form-data; name=\"a\"\r\n--B--");
        QTest::newRow("bad disposition") << QByteArray("--B\r\nContent-Disposition: attachment\r\n\r\nx\r\n--B--\r\n");
        QTest::newRow("header without colon") << QByteArray("--B\r\nGarbage\r\n\r\nx\r\n--B--\r\n");
        QTest::newRow("no name") << QByteArray("--B\r\nContent-Disposition: form-data\r\n\r\nx\r\n--B--\r\n");
        QTest::newRow("non-utf-8 name") << QByteArray("--B\r\nContent-Disposition: form-data; name=\"\xc3\x28\"\r\n\r\nx\r\n--B--\r\n");
        QTest::newRow("junk after delimiter") << QByteArray("--Bjunk\r\n");
        QTest::newRow("delimiter look-alike in data")
            << QByteArray("--B\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nx\r\n--Bx\r\n--B--\r\n");
    }
    void malformed()
    {
        QFETCH(QByteArray, body);
        QString error;
        QVERIFY(!MultipartParser::parse(body, "B", &error));
        QVERIFY(!error.isEmpty());
    }

    void rateLimiterRefills()
    {
        RateLimiter limiter(60000, 2); // one token per millisecond
        QVERIFY(limiter.allow(QStringLiteral("a")));
        QVERIFY(limiter.allow(QStringLiteral("a")));
        QVERIFY(!limiter.allow(QStringLiteral("a")));
        QVERIFY(limiter.allow(QStringLiteral("b")));
        QTest::qWait(20);
        QVERIFY(limiter.allow(QStringLiteral("a")));
    }

    void configFromFlagsOverEnvironment()
    {
        qputenv("TESSIVO_RELAY_PORT", "9999");
        qputenv("TESSIVO_RELAY_MAX_BODY_BYTES", "2048");
        QStringList rest;
        QStringList errors;
        const RelayConfig c = RelayConfig::fromEnvironmentAndArguments(
            {QStringLiteral("serve"), QStringLiteral("--port"), QStringLiteral("7000"), QStringLiteral("--listen=0.0.0.0"),
             QStringLiteral("--database-url"), QStringLiteral("postgresql://u:p@h:5433/db"), QStringLiteral("--other")},
            &rest, &errors);
        QVERIFY2(errors.isEmpty(), qPrintable(errors.join(QLatin1Char(','))));
        QCOMPARE(c.port, quint16(7000));
        QCOMPARE(c.maxBodyBytes, qint64(2048));
        QCOMPARE(c.listenAddress, QHostAddress(QStringLiteral("0.0.0.0")));
        QCOMPARE(c.effectiveDatabaseUrl(), QStringLiteral("postgresql://u:p@h:5433/db"));
        QCOMPARE(rest, (QStringList{QStringLiteral("serve"), QStringLiteral("--other")}));
        qunsetenv("TESSIVO_RELAY_PORT");
        qunsetenv("TESSIVO_RELAY_MAX_BODY_BYTES");

        const RelayConfig d = RelayConfig::fromEnvironmentAndArguments({QStringLiteral("--port=x")}, &rest, &errors);
        QCOMPARE(errors.size(), 1);
        QCOMPARE(d.listenAddress, QHostAddress(QHostAddress::LocalHost)); // the default
        QVERIFY(d.effectiveDatabaseUrl().startsWith(QLatin1String("sqlite:")));
    }

    void cutsBetweenCharacters_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("cut");
        const QString e = QStringLiteral("\u2026");
        QTest::newRow("short") << QStringLiteral("abcde") << QStringLiteral("abcde");
        QTest::newRow("plain") << QStringLiteral("abcdefgh") << QStringLiteral("abcd") + e;
        QTest::newRow("surrogate pair at the cut") << QStringLiteral("abc\U0001F600defg") << QStringLiteral("abc") + e;
        QTest::newRow("pair just before the cut") << QStringLiteral("ab\U0001F600defg") << QStringLiteral("ab\U0001F600") + e;
        QTest::newRow("combining accent at the cut") << QStringLiteral("abce\u0301fgh") << QStringLiteral("abc") + e;
        QTest::newRow("emoji sequence") << QStringLiteral("a\U0001F469\u200D\U0001F467bcd") << QStringLiteral("a") + e;
        QTest::newRow("one long cluster") << QStringLiteral("a") + QString(10, QChar(0x301)) << QStringLiteral("a\u0301\u0301\u0301") + e;
    }
    void cutsBetweenCharacters()
    {
        QFETCH(QString, text);
        QFETCH(QString, cut);
        QCOMPARE(cutText(text, 5), cut);
    }

    void mondayAnswers()
    {
        MondayResult ok = MondaySink::readAnswer(200, "{\"data\":{\"create_item\":{\"id\":\"42\"}}}", "create_item");
        QVERIFY(ok.ok);
        QCOMPARE(ok.id, QStringLiteral("42"));
        ok = MondaySink::readAnswer(200, "{\"data\":{\"create_item\":{\"id\":43}}}", "create_item");
        QCOMPARE(ok.id, QStringLiteral("43"));
        const MondayResult budget = MondaySink::readAnswer(
            200, "{\"errors\":[{\"message\":\"Complexity budget exhausted\",\"extensions\":{\"code\":\"COMPLEXITY_BUDGET_EXHAUSTED\"}}]}",
            "create_item");
        QVERIFY(!budget.ok);
        QCOMPARE(budget.code, QStringLiteral("COMPLEXITY_BUDGET_EXHAUSTED"));
        const MondayResult legacy = MondaySink::readAnswer(
            200, "{\"error_code\":\"ComplexityException\",\"error_message\":\"Complexity budget exhausted\"}", "create_item");
        QCOMPARE(legacy.code, QStringLiteral("ComplexityException"));
        const MondayResult unauthorised = MondaySink::readAnswer(401, "Unauthorized", "create_item");
        QCOMPARE(unauthorised.code, QStringLiteral("HTTP_401"));
        const MondayResult noId = MondaySink::readAnswer(200, "{\"data\":{}}", "create_item");
        QVERIFY(!noId.ok);
        QVERIFY(!MondaySink::isSafeId(QStringLiteral("files\") { x }")));
        QVERIFY(MondaySink::isSafeId(QStringLiteral("files_1")));
    }
};

QTEST_GUILESS_MAIN(TestRelayParts)
#include "tst_relay_parts.moc"
