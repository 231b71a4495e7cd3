// What the display tests read off the screen: the X root window as the
// server shows it, and the few measures the checks use on it.
#pragma once

#include <QImage>
#include <QLineF>
#include <QRect>
#include <QRgb>

namespace ScreenPixels {

/// The whole X root window, grabbed through the test's own connection.
QImage grabScreen();

/// The share of the pixels that `look` paints fully (alpha 255) that the
/// screen shows at the same place within a small tolerance, `look` placed
/// at `rect`. 0 when the sizes differ.
double lookMatch(const QImage &screen, const QRect &rect, const QImage &look);

/// The mean absolute grey-level difference (0..255) of two pictures after
/// both are scaled down to the same coarse grid: small when they show the
/// same scene at different sizes.
double difference(const QImage &a, const QImage &b);

/// `content` scaled to fit `area`, aspect kept, centred.
QRect fitted(const QSize &content, const QRect &area);

bool isRed(QRgb pixel);
int countRed(const QImage &screen, const QRect &rect);
/// The share of points along `line` that have a red pixel within `reach`.
double redAlong(const QImage &screen, const QLineF &line, int reach = 3);
/// The number of pixels in `rect` that differ clearly between two grabs.
int changedPixels(const QImage &before, const QImage &after, const QRect &rect);
/// The share of pixels in `rect` darker than a grey level of 24.
double blackShare(const QImage &screen, const QRect &rect);

} // namespace ScreenPixels
