// Both clients against a server that hangs up without answering, once it
// has read a whole request or part of its body, on a fresh connection or on
// one it kept alive after answering. A POST is not idempotent: each call
// reaches the server once, and the hang-up is a transport error.
#include "HangUpServer.h"
#include "ResultBox.h"
#include "TestSupport.h"

#include "core/Configs.h"
#include "core/TessivoKit.h"
#include "sharing/MondayManager.h"
#include "sharing/TrelloManager.h"

#include <QtTest>

using namespace tessivo;
using namespace tessivo::test;
using When = HangUpServer::When;

namespace {

const QString kLost = QStringLiteral("The network connection was lost.");
const QString kLostError = QStringLiteral("Error Domain=URLErrorDomain Code=-1005 \"%1\"").arg(kLost);
// Large enough that the server hangs up long before the body is in.
const QByteArray kLargeBody(4'000'000, 'x');

} // namespace

class TestHangUp : public QObject
{
    Q_OBJECT

private:
    HangUpServer m_server;

    /// Makes one call; `failed` learns whether the caller was told of a failure.
    void call(const QString &which, ResultBox<bool> &failed)
    {
        const auto trello = std::make_shared<TrelloConfigs>(
            QStringLiteral("L1"), QStringLiteral("KEY0123456789abcdef"), QStringLiteral("TOKEN0123456789abcdef"));
        if (which == "card") {
            TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), trello,
                                      [&](std::optional<QString> id) { failed.set(!id); });
        } else if (which == "attachment") {
            TrelloManager::uploadAttachment(QStringLiteral("C1"), kLargeBody, QStringLiteral("f.png"), trello,
                                            [&](std::optional<UrlError> e) { failed.set(e && e->code == -1005); });
        } else if (which == "item") {
            MondayManager::addItem(QStringLiteral("n"), [&](std::optional<QString> id) { failed.set(!id); });
        } else if (which == "image") {
            MondayManager::uploadImage("X");
            failed.set(true); // only the log line tells
        } else {
            MondayManager::uploadVideo(kLargeBody);
            failed.set(true);
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv(TrelloManager::kApiUrlEnvironment, m_server.baseUrl().toUtf8());
        qputenv(MondayManager::kRelayUrlEnvironment, m_server.baseUrl().toUtf8());
        TessivoKit::shared().setProductId(QStringLiteral("P1"));
    }

    void init() { m_server.clear(); }

    void eachCallReachesTheServerOnce_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<bool>("midBody");
        QTest::addColumn<bool>("reused"); // a first call is answered on a kept-alive connection
        QTest::addColumn<QString>("line");
        const QString card = QStringLiteral("Create trello card error:") + kLostError;
        const QString item = QStringLiteral("Create monday card error:") + kLostError;
        const QString upload = QStringLiteral("nil nil Optional(%1)").arg(kLostError);
        QTest::newRow("trello card") << "card" << false << false << card;
        QTest::newRow("trello card, kept-alive connection") << "card" << false << true << card;
        QTest::newRow("trello attachment, whole request") << "attachment" << false << false << kLost;
        QTest::newRow("trello attachment, mid-body") << "attachment" << true << false << kLost;
        QTest::newRow("monday item") << "item" << false << false << item;
        QTest::newRow("monday item, kept-alive connection") << "item" << false << true << item;
        QTest::newRow("monday image, whole request") << "image" << false << false << upload;
        QTest::newRow("monday video, mid-body") << "video" << true << false << upload;
    }
    void eachCallReachesTheServerOnce()
    {
        QFETCH(QString, call);
        QFETCH(bool, midBody);
        QFETCH(bool, reused);
        QFETCH(QString, line);
        m_server.setWhen(midBody ? When::midBody : When::afterRequest);
        ConsoleCapture console;
        int before = 0;
        if (reused) {
            m_server.answerNext(1, "{\"id\":\"first\"}");
            ResultBox<bool> first;
            this->call(call, first);
            QTRY_VERIFY_WITH_TIMEOUT(first.called(), 10000);
            QVERIFY(!first.value());
            before = 1;
            console.clear();
        }
        ResultBox<bool> failed;
        this->call(call, failed);
        QTRY_VERIFY_WITH_TIMEOUT(failed.called(), 10000);
        QVERIFY(failed.value());
        QTRY_COMPARE_WITH_TIMEOUT(console.lines().size(), 1, 10000);
        QCOMPARE(console.lines().first(), line);

        settle(500); // a resent request would arrive by now
        const QList<HangUpServer::Received> received = m_server.received().mid(before);
        QCOMPARE(received.size(), 1);
        QVERIFY(received.first().requestLine.startsWith("POST "));
        QVERIFY(!received.first().answered);
        if (midBody)
            QVERIFY(received.first().bodyBytes < received.first().contentLength);
        else
            QCOMPARE(received.first().bodyBytes, received.first().contentLength);
    }
};

QTEST_MAIN(TestHangUp)
#include "tst_hangup.moc"
