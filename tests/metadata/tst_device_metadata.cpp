// Device and app metadata with a host that ships an Info.json.
#include "metadata/DeviceMetadata.h"
#include "platform/Bundle.h"

#include <QApplication>
#include <QTest>

using namespace tessivo;
using namespace tessivo::metadata;

namespace {
Device::MachineField field(const QByteArray &bytes, int offset = 0)
{
    Device::MachineField f{};
    for (int i = 0; i < bytes.size(); ++i)
        f[offset + i] = static_cast<signed char>(bytes[i]);
    return f;
}
} // namespace

class DeviceMetadataTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void modelTableMapsExactlyAndPassesUnknownsThrough_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("name");
        QTest::newRow("11 Pro Max") << "iPhone12,5" << "iPhone 11 Pro Max";
        QTest::newRow("SE after the 7s rows") << "iPhone8,4" << "iPhone SE";
        QTest::newRow("iPad 5") << "iPad6,11" << "iPad 5";
        QTest::newRow("first of a group") << "iPhone3,1" << "iPhone 4";
        QTest::newRow("last of a group") << "iPad8,8" << "iPad Pro (12.9-inch) (3rd generation)";
        QTest::newRow("mixed style kept") << "iPad6,3" << "iPad Pro 9.7 Inch";
        QTest::newRow("mini capital M") << "iPad2,5" << "iPad Mini";
        QTest::newRow("last row") << "AudioAccessory1,1" << "HomePod";
        QTest::newRow("simulator host") << "x86_64" << "x86_64";
        QTest::newRow("newer hardware") << "iPhone13,2" << "iPhone13,2";
        QTest::newRow("case-sensitive") << "iphone12,5" << "iphone12,5";
        QTest::newRow("prefix only") << "iPhone12" << "iPhone12";
    }

    void modelTableMapsExactlyAndPassesUnknownsThrough()
    {
        QFETCH(QString, identifier);
        QFETCH(QString, name);
        QCOMPARE(modelName(identifier), name);
    }

    void unameWalkSkipsEveryZeroByte()
    {
        QCOMPARE(hardwareIdentifier(field("iPhone12,5")), QString("iPhone12,5"));
        // Zeros before, between and after the text are all skipped.
        Device::MachineField f = field("iPad", 3);
        f[10] = '6';
        f[20] = ',';
        f[255] = '3';
        QCOMPARE(hardwareIdentifier(f), QString("iPad6,3"));
        QCOMPARE(hardwareIdentifier(Device::MachineField{}), QString());
        // The real machine gives a non-empty identifier.
        QVERIFY(!deviceModelName().isEmpty());
    }

    void infoJsonOverridesTheApplicationProperties()
    {
        QCOMPARE(appVersionText(), QString("2.3(41)"));
        QCOMPARE(Bundle::main().bundleIdentifier(), std::optional<QString>("com.example.metadata"));
        QCOMPARE(frameworkVersion(), QString("1.0"));
        QVERIFY(osVersionText().endsWith(" " + systemVersion()));
        QVERIFY(osVersionText().startsWith(Device::systemName() + " "));
    }

    void theIconIsTheLastOfTheList()
    {
        const auto icon = appIconImage();
        QVERIFY(icon);
        QCOMPARE(icon->size(), QSize(60, 60));
    }

    void displayNameFallsBackToTheBundleName()
    {
        QCOMPARE(appDisplayName(), std::optional<QString>("Demo"));
        QGuiApplication::setApplicationDisplayName("Demo Display");
        QCOMPARE(appDisplayName(), std::optional<QString>("Demo Display"));
    }
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName("Demo");
    QApplication::setApplicationVersion("9.9"); // Info.json wins
    DeviceMetadataTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_device_metadata.moc"
