#include "ScreenPixels.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

#include <cmath>
#include <cstdlib>

namespace ScreenPixels {
namespace {

// Per channel. The same painting reaches the screen unchanged; a picture
// that only resembles it (a light video under a light panel) does not.
constexpr int kSameTolerance = 16;
constexpr int kChangeTolerance = 40;
constexpr QSize kGrid(32, 48);

int channelDistance(QRgb a, QRgb b)
{
    return std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
}

} // namespace

QImage grabScreen()
{
    QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->grabWindow(0).toImage().convertToFormat(QImage::Format_RGB32) : QImage();
}

double lookMatch(const QImage &screen, const QRect &rect, const QImage &look)
{
    if (look.size() != rect.size() || !screen.rect().contains(rect))
        return 0;
    const QImage own = look.convertToFormat(QImage::Format_ARGB32);
    qint64 painted = 0;
    qint64 same = 0;
    for (int y = 0; y < own.height(); ++y) {
        const auto *ownLine = reinterpret_cast<const QRgb *>(own.constScanLine(y));
        const auto *screenLine = reinterpret_cast<const QRgb *>(screen.constScanLine(rect.y() + y)) + rect.x();
        for (int x = 0; x < own.width(); ++x) {
            if (qAlpha(ownLine[x]) != 255)
                continue;
            ++painted;
            same += channelDistance(ownLine[x], screenLine[x]) <= kSameTolerance;
        }
    }
    return painted == 0 ? 0 : double(same) / double(painted);
}

double difference(const QImage &a, const QImage &b)
{
    const auto coarse = [](const QImage &image) {
        return image.convertToFormat(QImage::Format_RGB32)
            .scaled(kGrid, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
            .convertToFormat(QImage::Format_Grayscale8);
    };
    const QImage x = coarse(a);
    const QImage y = coarse(b);
    double sum = 0;
    for (int row = 0; row < kGrid.height(); ++row) {
        for (int col = 0; col < kGrid.width(); ++col)
            sum += std::abs(int(x.constScanLine(row)[col]) - int(y.constScanLine(row)[col]));
    }
    return sum / (kGrid.width() * kGrid.height());
}

QRect fitted(const QSize &content, const QRect &area)
{
    const QSize size = content.scaled(area.size(), Qt::KeepAspectRatio);
    return {area.x() + (area.width() - size.width()) / 2, area.y() + (area.height() - size.height()) / 2,
            size.width(), size.height()};
}

bool isRed(QRgb pixel)
{
    return qRed(pixel) > 170 && qGreen(pixel) < 90 && qBlue(pixel) < 90;
}

int countRed(const QImage &screen, const QRect &rect)
{
    int n = 0;
    const QRect r = rect & screen.rect();
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x)
            n += isRed(screen.pixel(x, y));
    }
    return n;
}

double redAlong(const QImage &screen, const QLineF &line, int reach)
{
    constexpr int kSamples = 40;
    int hits = 0;
    for (int i = 0; i < kSamples; ++i) {
        const QPoint at = line.pointAt((i + 0.5) / kSamples).toPoint();
        hits += countRed(screen, QRect(at - QPoint(reach, reach), QSize(2 * reach + 1, 2 * reach + 1))) > 0;
    }
    return double(hits) / kSamples;
}

int changedPixels(const QImage &before, const QImage &after, const QRect &rect)
{
    int n = 0;
    const QRect r = rect & before.rect() & after.rect();
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x)
            n += channelDistance(before.pixel(x, y), after.pixel(x, y)) > kChangeTolerance;
    }
    return n;
}

double blackShare(const QImage &screen, const QRect &rect)
{
    const QRect r = rect & screen.rect();
    if (r.isEmpty())
        return 1;
    qint64 dark = 0;
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x)
            dark += qGray(screen.pixel(x, y)) < 24;
    }
    return double(dark) / (qint64(r.width()) * r.height());
}

} // namespace ScreenPixels
