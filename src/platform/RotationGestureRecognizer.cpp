#include "platform/RotationGestureRecognizer.h"

#include <QNativeGestureEvent>
#include <QWheelEvent>

#include <cmath>

namespace tessivo {

RotationGestureRecognizer::RotationGestureRecognizer(QObject *parent) : TwoTouchGestureRecognizer(parent) {}

void RotationGestureRecognizer::reset()
{
    TwoTouchGestureRecognizer::reset();
    m_rotation = 0.0;
}

bool RotationGestureRecognizer::accumulate(qreal, qreal turn)
{
    m_rotation += turn;
    return true;
}

bool RotationGestureRecognizer::passesHysteresis(qreal, qreal turn) const
{
    return std::abs(turn) >= kAngleHysteresis;
}

bool RotationGestureRecognizer::wheelStep(QWheelEvent *event)
{
    if (!(event->modifiers() & Qt::ShiftModifier) || (event->modifiers() & Qt::ControlModifier))
        return false;
    // Some platforms turn a shifted wheel into a horizontal one.
    const QPoint angle = event->angleDelta();
    const int delta = angle.y() != 0 ? angle.y() : angle.x();
    if (delta == 0)
        return false;
    m_rotation += kWheelNotchRadians * delta / 120.0;
    return true;
}

bool RotationGestureRecognizer::nativeStep(QNativeGestureEvent *event)
{
    if (event->gestureType() != Qt::RotateNativeGesture)
        return false;
    // The trackpad reports degrees, counter-clockwise positive.
    m_rotation -= qDegreesToRadians(event->value());
    return true;
}

} // namespace tessivo
