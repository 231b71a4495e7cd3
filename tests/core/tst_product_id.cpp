// The product-id lookup against a relay stand-in on 127.0.0.1.
#include "sharing/MondayManager.h"
#include "LocalHttpServer.h"
#include "TestSupport.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

using namespace tessivo;
using namespace tessivo::test;

class ProductIdTest : public QObject
{
    Q_OBJECT
    LocalHttpServer *m_relay = nullptr;
    QByteArray m_answer;

    struct Result {
        bool called = false;
        std::optional<QString> id;
        bool onMainThread = true;
    };

    std::shared_ptr<Result> lookup(const QString &bundleId)
    {
        auto result = std::make_shared<Result>();
        MondayManager::fetchProductId(bundleId, [result](std::optional<QString> id) {
            result->onMainThread = QThread::currentThread() == qApp->thread();
            result->id = std::move(id);
            result->called = true;
        });
        return result;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_relay = new LocalHttpServer([this](const HttpRequest &) { return HttpResponse{200, m_answer}; }, this);
        // The endpoints are derived once per process, from the environment.
        qputenv("TESSIVO_RELAY_URL", m_relay->baseUrl().toUtf8() + "/");
        QCOMPARE(MondayManager::endpoints().productId, m_relay->baseUrl() + "/product-id");
        QCOMPARE(MondayManager::endpoints().addItem, m_relay->baseUrl() + "/monday/add-item?productId=");
    }

    void answersAreReadAsAOneMemberTextObject_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<std::optional<QString>>("expected");
        QTest::newRow("one member") << QByteArray(R"({"product":"abc"})") << std::optional<QString>("abc");
        QTest::newRow("empty object") << QByteArray("{}") << std::optional<QString>();
        QTest::newRow("not JSON") << QByteArray("<html>oops</html>") << std::optional<QString>();
        QTest::newRow("number value") << QByteArray(R"({"product":12})") << std::optional<QString>();
        QTest::newRow("array") << QByteArray(R"(["abc"])") << std::optional<QString>();
        QTest::newRow("empty body") << QByteArray() << std::optional<QString>();
    }

    void answersAreReadAsAOneMemberTextObject()
    {
        QFETCH(QByteArray, answer);
        QFETCH(std::optional<QString>, expected);
        m_answer = answer;
        auto result = lookup("com.example.app");
        QTRY_VERIFY(result->called);
        QCOMPARE(result->id, expected);
        QVERIFY(!result->onMainThread);
        const HttpRequest request = m_relay->requests().last();
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.path(), QString("/product-id"));
    }

    void theBundleIdIsPercentEncoded()
    {
        m_answer = R"({"p":"x"})";
        const QString awkward = QString::fromUtf8("com.ex ample/ä&id=1+2?#");
        auto result = lookup(awkward);
        QTRY_VERIFY(result->called);
        const HttpRequest request = m_relay->requests().last();
        QVERIFY(!request.target.contains(' '));
        QVERIFY(!request.target.contains("&id="));
        QCOMPARE(request.query().allQueryItemValues("bundleId", QUrl::FullyDecoded), QStringList{awkward});
    }

    void aTransportErrorNeverCallsBack()
    {
        ConsoleCapture console;
        m_relay->close();
        auto result = lookup("com.example.app");
        QTRY_VERIFY(!console.lines().isEmpty());
        QCOMPARE(console.lines().first(), QString("Could not connect to the server."));
        QTest::qWait(100);
        QVERIFY(!result->called);
    }
};

QTEST_MAIN(ProductIdTest)
#include "tst_product_id.moc"
