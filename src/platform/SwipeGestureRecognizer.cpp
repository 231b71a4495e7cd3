#include "platform/SwipeGestureRecognizer.h"

#include <QMouseEvent>

#include <cmath>

namespace tessivo {

SwipeGestureRecognizer::SwipeGestureRecognizer(QObject *parent) : GestureRecognizer(parent) {}

void SwipeGestureRecognizer::reset()
{
    GestureRecognizer::reset();
    m_tracking = false;
}

bool SwipeGestureRecognizer::matches(QPointF delta) const
{
    struct Axis {
        Direction direction;
        qreal along;
        qreal across;
    };
    const Axis axes[] = {
        {right, delta.x(), delta.y()},
        {left, -delta.x(), delta.y()},
        {down, delta.y(), delta.x()},
        {up, -delta.y(), delta.x()},
    };
    for (const Axis &axis : axes) {
        if ((m_direction & axis.direction) && axis.along >= kMinimumDistance
            && std::abs(axis.across) <= axis.along * kMaximumDrift)
            return true;
    }
    return false;
}

void SwipeGestureRecognizer::track(QPointF position)
{
    if (!m_tracking) {
        m_tracking = true;
        m_start = position;
        m_clock.start();
        return;
    }
    setLocation(position);
    if (m_clock.elapsed() > kMaximumDurationMs) {
        setState(GestureRecognizerState::failed);
        return;
    }
    if (matches(position - m_start))
        setState(GestureRecognizerState::ended);
}

void SwipeGestureRecognizer::touchesChanged(const QList<TouchPoint> &touches, bool ended,
                                            bool cancelled)
{
    GestureRecognizer::touchesChanged(touches, ended, cancelled);
    if (ended || cancelled || touches.isEmpty()) {
        reset();
        return;
    }
    if (state() != GestureRecognizerState::possible || !isEnabled())
        return;
    const int count = static_cast<int>(touches.size());
    if (count > m_touchesRequired || (m_tracking && count < m_touchesRequired)) {
        setState(GestureRecognizerState::failed);
        return;
    }
    if (count == m_touchesRequired)
        track(centroid(touches));
}

void SwipeGestureRecognizer::mouseEvent(QMouseEvent *event, QPointF position)
{
    if (m_touchesRequired != 1 || !isEnabled())
        return;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        reset();
        if (event->button() == Qt::LeftButton)
            track(position);
        break;
    case QEvent::MouseMove:
        if (m_tracking && state() == GestureRecognizerState::possible && (event->buttons() & Qt::LeftButton))
            track(position);
        break;
    case QEvent::MouseButtonRelease:
        reset();
        break;
    default:
        break;
    }
}

} // namespace tessivo
