#include "Gallery.h"

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

QWidget *hostWindow(QSize size, Appearance appearance)
{
    auto *window = new QWidget;
    window->setWindowTitle(QStringLiteral("Host"));
    window->resize(size);
    auto *layout = new QVBoxLayout(window);
    auto *title = new QLabel(QStringLiteral("Host app"), window);
    QFont font = title->font();
    font.setPointSize(22);
    font.setBold(true);
    title->setFont(font);
    layout->addWidget(title);
    for (int i = 1; i <= 6; ++i)
        layout->addWidget(new QLabel(QStringLiteral("Row %1 of the host's own content").arg(i), window));
    layout->addStretch();
    Q_UNUSED(appearance)
    return window;
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
    for (const auto &entry : tessivo::gallery::entries()) {
        if (!only.isEmpty() && !entry.name.contains(only))
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
            while (clock.elapsed() < 600)
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
