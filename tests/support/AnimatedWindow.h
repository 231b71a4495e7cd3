// A host window that repaints on a timer, so that recordings have frames:
// cycling hues, or one colour when it is given one.
#pragma once

#include <QPainter>
#include <QTimer>
#include <QWidget>

namespace tessivo::test {

class AnimatedWindow : public QWidget
{
public:
    explicit AnimatedWindow(int intervalMs = 33)
    {
        resize(320, 240);
        connect(&m_timer, &QTimer::timeout, this, qOverload<>(&QWidget::update));
        m_timer.start(intervalMs);
    }

    /// Paints the whole window in `color` from now on.
    void setColor(const QColor &color)
    {
        m_color = color;
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        if (m_color.isValid()) {
            p.fillRect(rect(), m_color);
            return;
        }
        p.fillRect(rect(), QColor::fromHsv(m_hue = (m_hue + 7) % 360, 160, 225));
        p.drawText(rect(), Qt::AlignCenter, QString::number(m_hue));
    }

private:
    QTimer m_timer;
    int m_hue = 0;
    QColor m_color;
};

} // namespace tessivo::test
