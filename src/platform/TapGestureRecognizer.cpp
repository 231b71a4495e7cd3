#include "platform/TapGestureRecognizer.h"

#include <QLineF>
#include <QMouseEvent>

namespace tessivo {

TapGestureRecognizer::TapGestureRecognizer(QObject *parent) : GestureRecognizer(parent) {}

void TapGestureRecognizer::reset()
{
    GestureRecognizer::reset();
    m_tracking = false;
    m_failed = false;
    m_maxTouches = 0;
}

void TapGestureRecognizer::begin(QPointF position, int touches)
{
    if (!m_tracking) {
        m_tracking = true;
        m_start = position;
        m_clock.start();
    }
    m_maxTouches = std::max(m_maxTouches, touches);
    setLocation(position);
}

void TapGestureRecognizer::move(QPointF position)
{
    if (m_tracking && QLineF(m_start, position).length() > kAllowableMovement)
        m_failed = true;
}

void TapGestureRecognizer::end()
{
    const bool tapped = m_tracking && !m_failed && m_maxTouches == m_touchesRequired
        && m_clock.elapsed() <= kMaximumDurationMs && isEnabled();
    if (tapped)
        setState(GestureRecognizerState::ended);
    reset();
}

void TapGestureRecognizer::touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled)
{
    GestureRecognizer::touchesChanged(touches, ended, cancelled);
    if (cancelled) {
        reset();
        return;
    }
    if (ended || touches.isEmpty()) {
        end();
        return;
    }
    const QPointF c = centroid(touches);
    if (!m_tracking)
        begin(c, static_cast<int>(touches.size()));
    else {
        m_maxTouches = std::max(m_maxTouches, static_cast<int>(touches.size()));
        move(c);
    }
}

void TapGestureRecognizer::mouseEvent(QMouseEvent *event, QPointF position)
{
    if (m_touchesRequired != 1 || event->button() == Qt::RightButton)
        return;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        reset();
        begin(position, 1);
        break;
    case QEvent::MouseMove:
        move(position);
        break;
    case QEvent::MouseButtonRelease:
        move(position);
        end();
        break;
    default:
        break;
    }
}

} // namespace tessivo
