#include "platform/TwoTouchGestureRecognizer.h"

#include <QLineF>
#include <QNativeGestureEvent>
#include <QWheelEvent>

#include <cmath>

namespace tessivo {

namespace {

qreal angleOf(QPointF a, QPointF b)
{
    return std::atan2(b.y() - a.y(), b.x() - a.x());
}

qreal wrapped(qreal angle)
{
    while (angle > M_PI)
        angle -= 2 * M_PI;
    while (angle <= -M_PI)
        angle += 2 * M_PI;
    return angle;
}

} // namespace

TwoTouchGestureRecognizer::TwoTouchGestureRecognizer(QObject *parent) : GestureRecognizer(parent)
{
    m_wheelIdle.setSingleShot(true);
    m_wheelIdle.setInterval(kWheelIdleMs);
    connect(&m_wheelIdle, &QTimer::timeout, this, [this] { finish(false); });
}

void TwoTouchGestureRecognizer::reset()
{
    GestureRecognizer::reset();
    m_tracking = false;
    m_wheelIdle.stop();
}

void TwoTouchGestureRecognizer::advance()
{
    if (!isEnabled())
        return;
    if (state() == GestureRecognizerState::possible)
        setState(GestureRecognizerState::began);
    else if (state() == GestureRecognizerState::began || state() == GestureRecognizerState::changed)
        setState(GestureRecognizerState::changed);
}

void TwoTouchGestureRecognizer::finish(bool cancelled)
{
    if (state() == GestureRecognizerState::began || state() == GestureRecognizerState::changed)
        setState(cancelled ? GestureRecognizerState::cancelled : GestureRecognizerState::ended);
    reset();
}

void TwoTouchGestureRecognizer::touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled)
{
    GestureRecognizer::touchesChanged(touches, ended, cancelled);
    if (cancelled || ended || touches.size() < 2) {
        if (m_tracking || state() != GestureRecognizerState::possible)
            finish(cancelled);
        return;
    }
    const QPointF a = touches.at(0).position;
    const QPointF b = touches.at(1).position;
    const qreal distance = QLineF(a, b).length();
    const qreal angle = angleOf(a, b);
    if (!m_tracking) {
        m_tracking = true;
        m_startDistance = m_lastDistance = distance;
        m_startAngle = m_lastAngle = angle;
        return;
    }
    if (m_lastDistance <= 0 || distance <= 0)
        return;
    const qreal spread = distance / m_lastDistance;
    const qreal turn = wrapped(angle - m_lastAngle);
    if (state() == GestureRecognizerState::possible
        && !passesHysteresis(distance / m_startDistance, wrapped(angle - m_startAngle)))
        return;
    if (state() == GestureRecognizerState::possible) {
        // The movement so far counts from where the fingers went down.
        accumulate(distance / m_startDistance, wrapped(angle - m_startAngle));
    } else {
        accumulate(spread, turn);
    }
    m_lastDistance = distance;
    m_lastAngle = angle;
    advance();
}

void TwoTouchGestureRecognizer::wheelEvent(QWheelEvent *event, QPointF position)
{
    if (!isEnabled() || !wheelStep(event))
        return;
    setLocation(position);
    advance();
    m_wheelIdle.start();
}

void TwoTouchGestureRecognizer::nativeGestureEvent(QNativeGestureEvent *event, QPointF position)
{
    if (!isEnabled())
        return;
    if (event->gestureType() == Qt::EndNativeGesture) {
        finish(false);
        return;
    }
    if (!nativeStep(event))
        return;
    setLocation(position);
    advance();
}

} // namespace tessivo
