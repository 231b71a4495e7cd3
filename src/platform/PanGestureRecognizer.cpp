#include "platform/PanGestureRecognizer.h"

#include <QLineF>
#include <QMouseEvent>

namespace tessivo {

PanGestureRecognizer::PanGestureRecognizer(QObject *parent) : GestureRecognizer(parent) {}

void PanGestureRecognizer::reset()
{
    GestureRecognizer::reset();
    m_tracking = false;
    m_velocity = QPointF();
}

QPointF PanGestureRecognizer::mapVector(QPointF vector, const QWidget *widget) const
{
    QWidget *own = view();
    if (!widget || !own || widget == own)
        return vector;
    // Views in the kit are not rotated or scaled against each other, so a
    // vector reads the same in every view; mapping keeps that explicit.
    const QPointF zero = widget->mapFromGlobal(own->mapToGlobal(QPointF()));
    return widget->mapFromGlobal(own->mapToGlobal(vector)) - zero;
}

QPointF PanGestureRecognizer::translation(const QWidget *widget) const
{
    if (state() != GestureRecognizerState::began && state() != GestureRecognizerState::changed
        && state() != GestureRecognizerState::ended)
        return {};
    return mapVector(m_last - m_origin, widget);
}

void PanGestureRecognizer::setTranslation(QPointF translation, const QWidget *widget)
{
    m_origin = m_last - mapVector(translation, widget);
}

QPointF PanGestureRecognizer::velocity(const QWidget *widget) const
{
    return mapVector(m_velocity, widget);
}

void PanGestureRecognizer::press(QPointF position)
{
    m_tracking = true;
    m_start = m_last = m_origin = position;
    m_velocity = QPointF();
    m_clock.start();
    m_lastTime = 0;
    setLocation(position);
}

void PanGestureRecognizer::move(QPointF position)
{
    if (!m_tracking)
        return;
    const qint64 now = m_clock.elapsed();
    if (now > m_lastTime)
        m_velocity = (position - m_last) * 1000.0 / double(now - m_lastTime);
    m_lastTime = now;
    m_last = position;
    setLocation(position);
    if (state() == GestureRecognizerState::possible) {
        if (QLineF(m_start, position).length() < kHysteresis || !isEnabled())
            return;
        // Translation counts from the start, as the touches moved.
        m_origin = m_start;
        setState(GestureRecognizerState::began);
        return;
    }
    if (state() == GestureRecognizerState::began || state() == GestureRecognizerState::changed)
        setState(GestureRecognizerState::changed);
}

void PanGestureRecognizer::release(bool cancelled)
{
    if (state() == GestureRecognizerState::began || state() == GestureRecognizerState::changed)
        setState(cancelled ? GestureRecognizerState::cancelled : GestureRecognizerState::ended);
    reset();
}

void PanGestureRecognizer::touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled)
{
    GestureRecognizer::touchesChanged(touches, ended, cancelled);
    if (cancelled || ended || touches.isEmpty()) {
        release(cancelled);
        return;
    }
    const int count = static_cast<int>(touches.size());
    const bool allowed = count >= m_minimumTouches && count <= m_maximumTouches;
    const QPointF c = centroid(touches);
    if (!m_tracking) {
        if (allowed)
            press(c);
        return;
    }
    if (!allowed) {
        // Too many or too few fingers end the pan.
        release(false);
        return;
    }
    move(c);
}

void PanGestureRecognizer::mouseEvent(QMouseEvent *event, QPointF position)
{
    if (m_minimumTouches != 1)
        return;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        if (event->button() != Qt::LeftButton)
            return;
        reset();
        press(position);
        break;
    case QEvent::MouseMove:
        if (event->buttons() & Qt::LeftButton)
            move(position);
        break;
    case QEvent::MouseButtonRelease:
        if (event->button() == Qt::LeftButton && m_tracking)
            release(false);
        break;
    default:
        break;
    }
}

} // namespace tessivo
