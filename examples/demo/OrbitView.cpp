#include "OrbitView.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

OrbitView::OrbitView(QWidget *parent) : QWidget(parent)
{
    setMinimumSize(240, 220);
    m_timer.setInterval(16);
    connect(&m_timer, &QTimer::timeout, this, qOverload<>(&QWidget::update));
    m_clock.start();
    m_timer.start();
}

void OrbitView::setRunning(bool running)
{
    running ? m_timer.start() : m_timer.stop();
}

void OrbitView::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const bool dark = palette().color(QPalette::Window).lightness() < 128;
    QLinearGradient sky(0, 0, 0, height());
    sky.setColorAt(0, dark ? QColor(18, 20, 38) : QColor(232, 238, 255));
    sky.setColorAt(1, dark ? QColor(40, 30, 70) : QColor(250, 236, 255));
    p.fillRect(rect(), sky);

    const double t = m_clock.elapsed() / 1000.0;
    const QPointF centre(width() / 2.0, height() / 2.0);
    const double scale = std::min(width(), height()) / 2.4;

    p.setPen(Qt::NoPen);
    QRadialGradient sun(centre, scale * 0.28);
    sun.setColorAt(0, QColor(255, 214, 90));
    sun.setColorAt(1, QColor(255, 140, 60));
    p.setBrush(sun);
    p.drawEllipse(centre, scale * 0.22, scale * 0.22);

    struct Planet {
        double radius, size, speed;
        QColor color;
    };
    const Planet planets[] = {
        {0.45, 0.06, 1.6, QColor(110, 200, 255)},
        {0.70, 0.09, 1.0, QColor(120, 220, 150)},
        {0.95, 0.07, 0.6, QColor(240, 110, 160)},
    };
    for (const Planet &planet : planets) {
        p.setPen(QPen(dark ? QColor(255, 255, 255, 40) : QColor(60, 60, 120, 50), 1));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(centre, planet.radius * scale, planet.radius * scale);
        const QPointF pos = centre + QPointF(std::cos(t * planet.speed), std::sin(t * planet.speed))
                * planet.radius * scale;
        p.setPen(Qt::NoPen);
        p.setBrush(planet.color);
        p.drawEllipse(pos, planet.size * scale, planet.size * scale);
    }
    p.setPen(dark ? QColor(230, 230, 255) : QColor(40, 40, 90));
    p.drawText(rect().adjusted(12, 8, -12, -8), Qt::AlignLeft | Qt::AlignBottom,
               QStringLiteral("t = %1 s").arg(t, 0, 'f', 1));
}
