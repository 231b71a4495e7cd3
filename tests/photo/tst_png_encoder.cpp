// The report images' PNG writer: what it writes decodes to the same pixels,
// with and without alpha, in one band or several.
#include "platform/PngEncoder.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace tessivo;

class PngEncoderTest : public QObject
{
    Q_OBJECT

    static QImage noise(QSize size, QImage::Format format, bool translucent)
    {
        QImage image(size, QImage::Format_ARGB32);
        QRandomGenerator random(42);
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                const int a = translucent ? random.bounded(256) : 255;
                // Flat runs as well as noise, as screenshots have.
                const bool flat = (y / 16) % 2 == 0;
                image.setPixel(x, y, flat ? qRgba(30, 120, 200, a)
                                          : qRgba(random.bounded(256), random.bounded(256), random.bounded(256), a));
            }
        }
        return image.convertToFormat(format);
    }

private Q_SLOTS:
    void roundTrips_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("format");
        QTest::addColumn<bool>("translucent");
        QTest::newRow("opaque, one band") << QSize(37, 20) << int(QImage::Format_ARGB32_Premultiplied) << false;
        QTest::newRow("translucent, bands") << QSize(301, 1025) << int(QImage::Format_ARGB32) << true;
        QTest::newRow("no alpha, bands") << QSize(123, 700) << int(QImage::Format_RGB32) << false;
        QTest::newRow("other format") << QSize(64, 300) << int(QImage::Format_RGB888) << false;
    }

    void roundTrips()
    {
        QFETCH(QSize, size);
        QFETCH(int, format);
        QFETCH(bool, translucent);
        const QImage image = noise(size, QImage::Format(format), translucent);
        const QByteArray png = PngEncoder::encode(image);
        QVERIFY(png.startsWith("\x89PNG\r\n\x1a\n"));
        const QImage decoded = QImage::fromData(png, "PNG");
        QCOMPARE(decoded.size(), size);
        QCOMPARE(decoded.hasAlphaChannel(), translucent);
        // Premultiplied input loses nothing more than premultiplying does.
        QCOMPARE(decoded.convertToFormat(QImage::Format_ARGB32_Premultiplied),
                 image.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    }

    void writesFilesAndRefusesNothing()
    {
        QVERIFY(PngEncoder::encode(QImage()).isEmpty());
        QTemporaryDir dir;
        const QImage image = noise(QSize(50, 50), QImage::Format_ARGB32, true);
        QVERIFY(PngEncoder::write(image, dir.filePath("a.png")));
        QCOMPARE(QImage(dir.filePath("a.png")).convertToFormat(QImage::Format_ARGB32), image);
        QVERIFY(!PngEncoder::write(image, dir.filePath("missing/a.png")));
        QVERIFY(!PngEncoder::write(QImage(), dir.filePath("b.png")));
    }
};

QTEST_MAIN(PngEncoderTest)
#include "tst_png_encoder.moc"
