// The host's bundle info from Qt's application properties alone (no Info.json).
#include "metadata/DeviceMetadata.h"
#include "platform/Bundle.h"
#include "TestSupport.h"

#include <QApplication>
#include <QTest>

using namespace tessivo;

class BundleInfoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void propertiesMakeTheInfoDictionary()
    {
        test::ConsoleCapture console;
        QCOMPARE(Bundle::main().bundleIdentifier(), std::optional<QString>("org.example.Notes"));
        QCOMPARE(Bundle::main().object("CFBundleName").toString(), QString("Notes"));
        QVERIFY(!Bundle::main().object("CFBundleDisplayName").isValid());
        QCOMPARE(metadata::appDisplayName(), std::optional<QString>("Notes"));
        // One version serves as the build until the host names a build.
        QCOMPARE(metadata::appVersionText(), QString("1.0(1.0)"));
        qApp->setProperty("CFBundleVersion", "7");
        QCOMPARE(metadata::appVersionText(), QString("1.0(7)"));
        qApp->setProperty("TessivoRelayURL", "http://127.0.0.1:9");
        QCOMPARE(Bundle::main().object("TessivoRelayURL").toString(), QString("http://127.0.0.1:9"));
        qApp->setProperty("OtherKey", "x");
        QVERIFY(!Bundle::main().object("OtherKey").isValid());
        QVERIFY(!metadata::appIconImage());
        QVERIFY(console.lines().isEmpty()); // a missing Info.json is not a problem
    }

    void namedColoursFollowTheAppearance()
    {
        const auto light = Bundle::kit().color("primaryLabelColor", Appearance::light);
        const auto dark = Bundle::kit().color("primaryLabelColor", Appearance::dark);
        QVERIFY(light && dark);
        QVERIFY(*light != *dark);
        QVERIFY(!Bundle::kit().color("noSuchColor", Appearance::light));
        QVERIFY(!Bundle::main().color("primaryLabelColor", Appearance::light));
        QCOMPARE(Bundle::withIdentifier(kKitBundleIdentifier), &Bundle::kit());
        QVERIFY(!Bundle::withIdentifier("com.example.other"));
    }
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationDomain("example.org");
    QApplication::setApplicationName("Notes");
    QApplication::setApplicationVersion("1.0");
    BundleInfoTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_bundle_info.moc"
