#include "metadata/ActivityIndicator.h"

#include <QPainter>

namespace tessivo {
namespace {
constexpr int kSpokes = 12;
constexpr int kStepMilliseconds = 1000 / kSpokes;
} // namespace

ActivityIndicator::ActivityIndicator(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TranslucentBackground);
    m_timer.setInterval(kStepMilliseconds);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_step = (m_step + 1) % kSpokes;
        update();
    });
    if (m_hidesWhenStopped)
        setVisible(false);
}

void ActivityIndicator::setStyle(ActivityIndicatorStyle style)
{
    if (m_style == style)
        return;
    m_style = style;
    update();
}

QColor ActivityIndicator::color() const
{
    return m_style == ActivityIndicatorStyle::gray ? QColor(128, 128, 128) : QColor(Qt::white);
}

void ActivityIndicator::startAnimating()
{
    m_timer.start();
    setVisible(true);
}

void ActivityIndicator::stopAnimating()
{
    m_timer.stop();
    if (m_hidesWhenStopped)
        setVisible(false);
}

void ActivityIndicator::setHidesWhenStopped(bool hides)
{
    m_hidesWhenStopped = hides;
    if (!isAnimating())
        setVisible(!hides);
}

void ActivityIndicator::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = std::min(width(), height());
    painter.translate(width() / 2.0, height() / 2.0);
    const qreal outer = side / 2.0;
    const qreal inner = outer * 0.45;
    const qreal thickness = std::max<qreal>(2.0, side / 12.0);
    for (int i = 0; i < kSpokes; ++i) {
        // The spoke at the current step is solid; the ones behind it fade.
        const int age = (m_step - i + kSpokes) % kSpokes;
        QColor spoke = color();
        spoke.setAlphaF(static_cast<float>(1.0 - 0.75 * age / (kSpokes - 1)));
        QPen pen(spoke, thickness, Qt::SolidLine, Qt::RoundCap);
        painter.setPen(pen);
        painter.save();
        painter.rotate(360.0 * i / kSpokes);
        painter.drawLine(QPointF(0, -inner), QPointF(0, -outer + thickness / 2));
        painter.restore();
    }
}

} // namespace tessivo
