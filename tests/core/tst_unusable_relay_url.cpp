// A relay URL that is not a URL: said once, nothing sent, nothing breaks.
#include "core/TessivoKit.h"
#include "sharing/MondayManager.h"
#include "TestSupport.h"

#include <QApplication>
#include <QTest>

using namespace tessivo;

class UnusableRelayUrlTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Making the kit makes its capture folder, which is said on the
        // console when the folder is new; this test looks at what follows.
        TessivoKit::shared();
    }

    void initializeCarriesOnWithoutAProductId()
    {
        qputenv("TESSIVO_RELAY_URL", "http://relay example.com");
        test::ConsoleCapture console;
        TessivoKit::shared().initialize(TessivoKit::FeedbackGesture::shake, "", false);
        QCOMPARE(console.lines(),
                 QStringList{"Tessivo: the relay URL \"http://relay example.com\" is not a valid URL; "
                             "monday reports cannot be sent."});
        bool called = false;
        MondayManager::fetchProductId("com.example", [&](std::optional<QString>) { called = true; });
        QTest::qWait(200);
        QVERIFY(!called);
        QVERIFY(!TessivoKit::shared().productId());
        QCOMPARE(console.lines().size(), 1);
    }
};

QTEST_MAIN(UnusableRelayUrlTest)
#include "tst_unusable_relay_url.moc"
