// A swipe: the required number of touches moving far and fast enough in
// one of the allowed directions. With one touch, a mouse drag counts too.
#pragma once

#include "platform/GestureRecognizer.h"

#include <QElapsedTimer>

namespace tessivo {

class TESSIVO_EXPORT SwipeGestureRecognizer : public GestureRecognizer
{
    Q_OBJECT
public:
    /// Directions with their raw values; they combine as flags.
    enum Direction : unsigned { right = 1, left = 2, up = 4, down = 8 };

    static constexpr qreal kMinimumDistance = 50;  // along the direction
    static constexpr qreal kMaximumDrift = 0.5;    // across it, per unit along
    static constexpr qint64 kMaximumDurationMs = 1000;

    explicit SwipeGestureRecognizer(QObject *parent = nullptr);

    unsigned direction() const { return m_direction; }
    void setDirection(unsigned direction) { m_direction = direction; }
    int numberOfTouchesRequired() const { return m_touchesRequired; }
    void setNumberOfTouchesRequired(int n) { m_touchesRequired = std::max(1, n); }

    void touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled) override;
    void mouseEvent(QMouseEvent *event, QPointF position) override;

protected:
    void reset() override;

private:
    void track(QPointF position);
    bool matches(QPointF delta) const;

    unsigned m_direction = right;
    int m_touchesRequired = 1;
    bool m_tracking = false;
    QPointF m_start;
    QElapsedTimer m_clock;
};

} // namespace tessivo
