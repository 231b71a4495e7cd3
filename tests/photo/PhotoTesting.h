// Input and pixel helpers for the photo editor's tests.
#pragma once

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QTest>
#include <QWidget>
#include <QWindow>

namespace tessivo::test {

/// A left-button drag through the window, as the pointer would move.
inline void drag(QWidget *window, QPoint from, QPoint to, int steps = 12)
{
    QWindow *handle = window->windowHandle();
    QTest::mousePress(handle, Qt::LeftButton, {}, from);
    for (int i = 1; i <= steps; ++i)
        QTest::mouseMove(handle, from + (to - from) * i / steps);
    QTest::mouseRelease(handle, Qt::LeftButton, {}, to);
}

inline void tap(QWidget *window, QPoint at)
{
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, at);
}

inline void click(QWidget *widget)
{
    QVERIFY(widget && widget->isVisible());
    QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

/// The pixel at a point in points of an image drawn at its pixel ratio.
inline QColor pixelAt(const QImage &image, QPointF point)
{
    const QPoint p = (point * image.devicePixelRatio()).toPoint();
    return image.pixelColor(p);
}

inline bool isRed(const QColor &c)
{
    return c.red() > 200 && c.green() < 70 && c.blue() < 70 && c.alpha() > 200;
}

inline bool isBlack(const QColor &c)
{
    return c.red() < 60 && c.green() < 60 && c.blue() < 60 && c.alpha() > 200;
}

/// The share of pixels of two equally sized images that differ by at most
/// `tolerance` in every channel.
inline double matchingShare(const QImage &a, const QImage &b, int tolerance = 24)
{
    if (a.size() != b.size() || a.isNull())
        return 0.0;
    const QImage x = a.convertToFormat(QImage::Format_ARGB32);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32);
    qint64 same = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const auto *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            same += std::abs(qRed(p[col]) - qRed(q[col])) <= tolerance
                && std::abs(qGreen(p[col]) - qGreen(q[col])) <= tolerance
                && std::abs(qBlue(p[col]) - qBlue(q[col])) <= tolerance;
        }
    }
    return double(same) / (qint64(x.width()) * x.height());
}

} // namespace tessivo::test
