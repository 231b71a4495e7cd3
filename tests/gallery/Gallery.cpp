#include "Gallery.h"

#include "KitScreens.h"
#include "platform/Appearance.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QLabel>
#include <QTest>
#include <QTextStream>
#include <QVBoxLayout>

#include <cstdio>
#include <vector>

namespace tessivo::gallery {

static std::vector<Entry> &entries()
{
    static std::vector<Entry> all;
    return all;
}

bool add(Entry entry)
{
    entries().push_back(std::move(entry));
    return true;
}

void settle()
{
    for (int i = 0; i < 20; ++i) {
        QApplication::processEvents();
        QTest::qWait(25);
    }
}

QWidget *hostWindow(QSize size, Appearance)
{
    return test::makeHostWindow(size);
}

} // namespace tessivo::gallery

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("TessivoGallery"));
    QApplication::setApplicationVersion(QStringLiteral("1.0"));
    const QString outDir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("gallery");
    QDir().mkpath(outDir);

    using tessivo::Appearance;
    int written = 0;
    // TESSIVO_GALLERY_ONLY=<text> renders only the entries whose name holds it.
    const QString only = qEnvironmentVariable("TESSIVO_GALLERY_ONLY");
    const double scale = qEnvironmentVariableIsSet("QT_SCALE_FACTOR")
        ? qEnvironmentVariable("QT_SCALE_FACTOR").toDouble()
        : 1.0;
    for (const auto &entry : tessivo::gallery::entries()) {
        if (!only.isEmpty() && !entry.name.contains(only))
            continue;
        if (!qFuzzyCompare(entry.scale, scale))
            continue;
        for (Appearance appearance : {Appearance::light, Appearance::dark}) {
            QApplication::setPalette(tessivo::paletteFor(appearance));
            QWidget *window = entry.make(appearance);
            window->resize(entry.size);
            window->show();
            window->activateWindow();
            // Let queued presentations and layouts settle.
            QElapsedTimer clock;
            clock.start();
            while (clock.elapsed() < 400)
                QTest::qWait(50);
            const QImage image = window->grab().toImage();
            const QString path = QDir(outDir).filePath(
                QStringLiteral("%1-%2.png")
                    .arg(entry.name, appearance == Appearance::light ? QStringLiteral("light")
                                                                      : QStringLiteral("dark")));
            if (!image.save(path)) {
                std::fprintf(stderr, "gallery: cannot write %s\n", qPrintable(path));
                return 1;
            }
            ++written;
            delete window;
        }
    }
    std::printf("gallery: wrote %d images to %s\n", written, qPrintable(QDir(outDir).absolutePath()));
    return 0;
}
