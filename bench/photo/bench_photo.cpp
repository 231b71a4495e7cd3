// Times what a screenshot report costs before upload: renderCanvas() of the
// whole canvas (a 1170x2532 screenshot, strokes and the metadata card) at
// a device pixel ratio of 3, and its PNG encoding with the kit's encoder,
// against QImage::save to PNG at Qt's default quality of the same image,
// measured alternately in the same run. Prints medians and ratios.
//
//   QT_QPA_PLATFORM=offscreen bench_photo [--runs N]
#include "photo/PhotoEditorViewController.h"
#include "platform/PngEncoder.h"

#include <QApplication>
#include <QBuffer>
#include <QElapsedTimer>
#include <QLinearGradient>
#include <QPainter>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace tessivo;

namespace {

/// A phone screenshot: a status bar, a photo-like banner, list rows with
/// text and icons, and a button, at 1170x2532 pixels (390x844 points at 3x).
QImage screenshot()
{
    QImage image(1170, 2532, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor(248, 248, 250));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    QLinearGradient sky(0, 150, 1170, 900);
    sky.setColorAt(0, QColor(255, 183, 94));
    sky.setColorAt(1, QColor(91, 76, 240));
    p.fillRect(QRect(0, 150, 1170, 750), sky);
    // Grain, as a photo has.
    QRandomGenerator random(7);
    for (int i = 0; i < 60000; ++i) {
        const int x = random.bounded(1170);
        const int y = 150 + random.bounded(750);
        p.setPen(QColor(255, 255, 255, random.bounded(40)));
        p.drawPoint(x, y);
    }
    QFont title = p.font();
    title.setPixelSize(84);
    title.setBold(true);
    p.setFont(title);
    p.setPen(Qt::white);
    p.drawText(QRect(60, 700, 1050, 160), Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("Weekend in Lisbon"));
    QFont body = p.font();
    body.setPixelSize(48);
    body.setBold(false);
    p.setFont(body);
    for (int row = 0; row < 12; ++row) {
        const int y = 960 + row * 120;
        p.setPen(Qt::NoPen);
        p.setBrush(QColor::fromHsv((row * 37) % 360, 160, 230));
        p.drawRoundedRect(QRect(60, y + 15, 90, 90), 22, 22);
        p.setPen(QColor(28, 28, 30));
        p.drawText(QRect(190, y, 800, 70), Qt::AlignLeft | Qt::AlignVCenter,
                   QStringLiteral("Booking item %1 — Rua Augusta").arg(row + 1));
        p.setPen(QColor(142, 142, 147));
        p.drawText(QRect(190, y + 60, 800, 60), Qt::AlignLeft | Qt::AlignVCenter,
                   QStringLiteral("%1 nights · €%2").arg(row % 4 + 1).arg(89 + row * 13));
        p.setPen(QColor(229, 229, 234));
        p.drawLine(190, y + 119, 1170, y + 119);
    }
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 122, 255));
    p.drawRoundedRect(QRect(60, 2400, 1050, 100), 50, 50);
    p.end();
    image.setDevicePixelRatio(3.0);
    return image;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

QByteArray qtDefaultPng(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

double msSince(const QElapsedTimer &clock)
{
    return clock.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_SCALE_FACTOR", "3");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("BenchPhoto"));
    QApplication::setApplicationVersion(QStringLiteral("1.0"));
    int runs = 15;
    const QStringList args = QApplication::arguments();
    if (const qsizetype at = args.indexOf(QStringLiteral("--runs")); at >= 0 && at + 1 < args.size())
        runs = std::max(1, args.at(at + 1).toInt());

    QWidget window;
    window.resize(390, 844);
    window.show();
    auto *editor = new PhotoEditorViewController;
    editor->setImage(screenshot());
    editor->metadata.author = QStringLiteral("Ann Whitfield");
    editor->metadata.note = QStringLiteral("The total does not change after the coupon is applied.");
    editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    ViewController::rootOf(&window)->present(editor, false);
    for (int i = 0; i < 20; ++i)
        QApplication::processEvents();
    editor->resetPanels();
    editor->drawColor = Qt::red;
    for (int i = 0; i < 30; ++i)
        editor->drawLine(QPointF(40 + i * 10, 300 + 40 * std::sin(i / 4.0)),
                         QPointF(50 + i * 10, 300 + 40 * std::sin((i + 1) / 4.0)));

    const QImage sample = editor->renderCanvas();
    const QByteArray fast = PngEncoder::encode(sample);
    const QByteArray reference = qtDefaultPng(sample);
    const QImage decoded = QImage::fromData(fast, "PNG");
    const bool identical = decoded.convertToFormat(QImage::Format_ARGB32)
        == sample.convertToFormat(QImage::Format_ARGB32);

    std::vector<double> render, encode, total, qtSave, oneThread;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer clock;
        clock.start();
        const QImage image = editor->renderCanvas();
        const double rendered = msSince(clock);
        clock.restart();
        const QByteArray png = PngEncoder::encode(image);
        const double encoded = msSince(clock);
        render.push_back(rendered);
        encode.push_back(encoded);
        total.push_back(rendered + encoded);
        clock.restart();
        const QByteArray byQt = qtDefaultPng(image);
        qtSave.push_back(msSince(clock));
        clock.restart();
        const QByteArray single = PngEncoder::encode(image, 1);
        oneThread.push_back(msSince(clock));
        Q_UNUSED(single)
        Q_UNUSED(png)
        Q_UNUSED(byQt)
    }

    const double ratio = median(total) / median(qtSave);
    std::printf("report image: %dx%d pixels (device pixel ratio %.0f), %d runs, %d ideal threads\n",
                sample.width(), sample.height(), sample.devicePixelRatio(), runs, QThread::idealThreadCount());
    std::printf("renderCanvas()                     median %7.1f ms\n", median(render));
    std::printf("PngEncoder::encode                 median %7.1f ms   %8.0f KiB\n", median(encode),
                fast.size() / 1024.0);
    std::printf("PngEncoder::encode, one thread     median %7.1f ms\n", median(oneThread));
    std::printf("render + encode                    median %7.1f ms\n", median(total));
    std::printf("reference: QImage::save PNG (default quality) median %7.1f ms   %8.0f KiB\n", median(qtSave),
                reference.size() / 1024.0);
    std::printf("ratio (render + encode) / reference: %.2f   with one thread: %.2f   decoded image identical: %s\n",
                ratio, (median(render) + median(oneThread)) / median(qtSave), identical ? "yes" : "NO");
    delete editor;
    return identical ? 0 : 1;
}
