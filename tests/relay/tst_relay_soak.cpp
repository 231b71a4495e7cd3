// The soak's own judgement (relay/soak): the memory verdict, the reading of
// answers as they arrive, and the database check, so that the soak cannot
// pass a relay for the wrong reason.
#include "DatabaseCheck.h"
#include "HttpAnswerParser.h"
#include "Payload.h"
#include "RssSampler.h"

#include "Database.h"
#include "ItemStore.h"
#include "ProductStore.h"

#include <QtTest>

using namespace soak;

namespace {

/// One sample a second over `seconds`, each from `kib(second)`.
QList<RssSample> samples(int seconds, const std::function<qint64(int)> &kib)
{
    QList<RssSample> list;
    for (int s = 0; s <= seconds; ++s)
        list.append({qint64(s) * 1000, kib(s)});
    return list;
}

} // namespace

class TestRelaySoak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void memoryVerdict_data()
    {
        QTest::addColumn<QList<RssSample>>("run");
        QTest::addColumn<int>("seconds");
        QTest::addColumn<bool>("flat");
        QTest::newRow("steady, a spike mid-run") << samples(600, [](int s) { return s == 300 ? 90000 : 30000; })
                                                 << 600 << true;
        QTest::newRow("peaks of 20 % at the end over a flat floor")
            << samples(600, [](int s) { return (s > 540 && s % 3 == 0) ? 36000 : 30000; }) << 600 << true;
        QTest::newRow("a leak of 15 % over the run") << samples(600, [](int s) { return 30000 + s * 7; }) << 600
                                                     << false;
        QTest::newRow("a step of 11 % in the last minute")
            << samples(600, [](int s) { return s > 560 ? 33300 : 30000; }) << 600 << false;
        QTest::newRow("a leak under peaks as high at both ends")
            << samples(600, [](int s) { return s % 3 == 0 ? 40000 : 30000 + s * 7; }) << 600 << false;
        QTest::newRow("short run, 8 % higher at the end")
            << samples(60, [](int s) { return s > 50 ? 32400 : 30000; }) << 60 << true;
        QTest::newRow("short run, 12 % higher at the end")
            << samples(60, [](int s) { return s > 50 ? 33600 : 30000; }) << 60 << false;
    }
    void memoryVerdict()
    {
        QFETCH(QList<RssSample>, run);
        QFETCH(int, seconds);
        QFETCH(bool, flat);
        const RssVerdict verdict = RssVerdict::judge(run, qint64(seconds) * 1000);
        QVERIFY2(verdict.problem.isEmpty(), qPrintable(verdict.problem));
        QCOMPARE(verdict.flat, flat);
    }

    void noMemoryVerdictWithoutSamplesAtTheEnd()
    {
        // The relay went away after half a minute of a ten-minute run.
        const RssVerdict verdict = RssVerdict::judge(samples(30, [](int) { return 30000; }), 600000);
        QVERIFY(!verdict.problem.isEmpty());
        QVERIFY(!verdict.flat);
    }

    void answersArriveInAnyPieces()
    {
        const QByteArray wire = "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 413 Payload Too Large\r\n"
                                "Content-Type: application/json\r\nContent-Length: 5\r\nConnection: close\r\n\r\nhello";
        for (const int piece : {1, 7, int(wire.size())}) {
            HttpAnswerParser parser;
            HttpAnswerParser::State state = HttpAnswerParser::State::NeedMore;
            for (qsizetype i = 0; i < wire.size(); i += piece) {
                QCOMPARE(state, HttpAnswerParser::State::NeedMore);
                state = parser.feed(QByteArrayView(wire).sliced(i, std::min<qsizetype>(piece, wire.size() - i)));
            }
            QCOMPARE(state, HttpAnswerParser::State::Complete);
            QCOMPARE(parser.interimAnswers(), 1);
            const HttpAnswer answer = parser.take();
            QCOMPARE(answer.status, 413);
            QCOMPARE(answer.body, QByteArray("hello"));
            QVERIFY(answer.closesConnection());
            QVERIFY(parser.idle());
        }
    }

    void howAnAnswerEnds_data()
    {
        QTest::addColumn<QByteArray>("wire");
        QTest::addColumn<bool>("whole");    // a complete answer once the connection closes
        QTest::addColumn<bool>("leftover"); // bytes nobody asked for after it
        QTest::newRow("no length: until the close") << QByteArray("HTTP/1.0 200 OK\r\n\r\n{}") << true << false;
        QTest::newRow("body cut short") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{}") << false << false;
        QTest::newRow("head cut short") << QByteArray("HTTP/1.1 200 OK\r\nContent-Le") << false << false;
        QTest::newRow("not HTTP") << QByteArray("SSH-2.0-OpenSSH\r\n\r\n") << false << false;
        QTest::newRow("a second answer behind the first")
            << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}HTTP/1.1 200 OK\r\n") << true << true;
    }
    void howAnAnswerEnds()
    {
        QFETCH(QByteArray, wire);
        QFETCH(bool, whole);
        QFETCH(bool, leftover);
        HttpAnswerParser parser;
        HttpAnswerParser::State state = parser.feed(wire);
        if (state == HttpAnswerParser::State::NeedMore)
            state = parser.finish();
        QCOMPARE(state == HttpAnswerParser::State::Complete, whole);
        if (whole) {
            parser.take();
            QCOMPARE(!parser.idle(), leftover);
        } else {
            QVERIFY(!parser.error().isEmpty());
        }
    }

    void databaseCheckFindsWhatDiffers()
    {
        // What the relay's own stores write, compared with what it confirmed.
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("relay.sqlite"));
        relay::Database db;
        QString error;
        QVERIFY2(db.open(QStringLiteral("sqlite:") + path, &error), qPrintable(error));
        relay::ProductStore products(db);
        relay::ItemStore items(db);
        relay::Product p;
        p.bundleId = QStringLiteral("com.example.check");
        const auto product = products.add(p, &error);
        QVERIFY(product);
        QList<CreatedItem> created;
        QList<StoredUpload> uploads;
        for (int i = 0; i < 3; ++i) {
            const auto item = items.create(product->id, QStringLiteral("10.1.0.%1").arg(i), QStringLiteral("n"),
                                           QStringLiteral("inbox"));
            QVERIFY(item);
            created.append({item->id, item->client, product->id});
            const auto file = items.addFile(item->id, QStringLiteral("t"), QStringLiteral("f.png"),
                                            QStringLiteral("image/png"), payload(i, 1000 + i));
            QVERIFY(file);
            uploads.append({file->id, item->id, quint64(i), 1000 + i});
        }
        const QString state = dir.filePath(QStringLiteral("state.json"));
        const auto check = [&](const QList<CreatedItem> &i, const QList<StoredUpload> &u) {
            QString e;
            QString report;
            return writeState(state, i, u, &e) && checkDatabase(path, state, &report);
        };
        QVERIFY(check(created, uploads));

        QVERIFY(!check(created.mid(1), uploads));                   // an item the relay never confirmed
        QList<CreatedItem> otherOwner = created;
        otherOwner[0].client = QStringLiteral("10.9.9.9");
        QVERIFY(!check(otherOwner, uploads));                       // an item of another tester
        QList<StoredUpload> swapped = uploads;
        std::swap(swapped[0].itemId, swapped[1].itemId);
        QVERIFY(!check(created, swapped));                          // files on each other's items
        QVERIFY(db.exec(QStringLiteral("UPDATE files SET data = ? WHERE id = ?"),
                        {payload(99, 1000), uploads.first().fileId}));
        QVERIFY(!check(created, uploads));                          // a file's bytes changed
    }
};

QTEST_GUILESS_MAIN(TestRelaySoak)
#include "tst_relay_soak.moc"
