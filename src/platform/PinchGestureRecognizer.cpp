#include "platform/PinchGestureRecognizer.h"

#include <QNativeGestureEvent>
#include <QWheelEvent>

#include <cmath>

namespace tessivo {

PinchGestureRecognizer::PinchGestureRecognizer(QObject *parent) : TwoTouchGestureRecognizer(parent) {}

void PinchGestureRecognizer::reset()
{
    TwoTouchGestureRecognizer::reset();
    m_scale = 1.0;
}

bool PinchGestureRecognizer::accumulate(qreal spread, qreal)
{
    m_scale *= spread;
    return true;
}

bool PinchGestureRecognizer::passesHysteresis(qreal spread, qreal) const
{
    // About kDistanceHysteresis points for fingers a typical 100 apart.
    return std::abs(spread - 1.0) * 100.0 >= kDistanceHysteresis;
}

bool PinchGestureRecognizer::wheelStep(QWheelEvent *event)
{
    if (!(event->modifiers() & Qt::ControlModifier))
        return false;
    const QPoint angle = event->angleDelta();
    const int delta = angle.y() != 0 ? angle.y() : angle.x();
    if (delta == 0)
        return false;
    m_scale *= std::pow(kWheelNotchScale, delta / 120.0);
    return true;
}

bool PinchGestureRecognizer::nativeStep(QNativeGestureEvent *event)
{
    if (event->gestureType() != Qt::ZoomNativeGesture)
        return false;
    m_scale *= 1.0 + event->value();
    return true;
}

} // namespace tessivo
