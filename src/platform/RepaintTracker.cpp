#include "platform/RepaintTracker.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QMoveEvent>
#include <QPaintEvent>
#include <QScrollBar>

#include <cmath>

namespace tessivo {
namespace {

QRect toEven(const QRect &rect)
{
    const int left = rect.left() & ~1;
    const int top = rect.top() & ~1;
    const int right = (rect.right() + 2) & ~1; // exclusive
    const int bottom = (rect.bottom() + 2) & ~1;
    return QRect(left, top, right - left, bottom - top);
}

} // namespace

RepaintTracker::RepaintTracker(QObject *parent) : QObject(parent) {}

RepaintTracker::~RepaintTracker()
{
    track(nullptr);
}

void RepaintTracker::track(QWidget *window)
{
    if (window && !m_window)
        qApp->installEventFilter(this);
    else if (!window && m_window)
        qApp->removeEventFilter(this);
    if (window != m_window)
        unfollowAll();
    m_window = window;
    m_region = QRegion();
    m_everything = true;
    // Scroll areas already there; later ones are followed when they show.
    if (window) {
        for (QAbstractScrollArea *area : window->findChildren<QAbstractScrollArea *>())
            follow(area);
    }
}

QRegion RepaintTracker::take(const QRect &frame)
{
    QRegion result;
    if (m_window) {
        const QSize size = m_window->size();
        const qreal ratio = m_window->devicePixelRatioF();
        if (size != m_lastSize || ratio != m_lastRatio) {
            m_everything = true;
            m_lastSize = size;
            m_lastRatio = ratio;
        }
    }
    if (m_everything) {
        result = frame;
    } else {
        for (const QRect &rect : m_region)
            result += toEven(rect);
        result &= frame;
    }
    m_region = QRegion();
    m_everything = false;
    return result;
}

void RepaintTracker::addLocal(const QWidget *widget, const QRegion &local)
{
    const QPoint offset = widget == m_window ? QPoint() : widget->mapTo(m_window, QPoint());
    const qreal ratio = m_window->devicePixelRatioF();
    if (ratio == 1.0) {
        m_region += local.translated(offset);
        return;
    }
    for (const QRect &rect : local) {
        const QRectF r = QRectF(rect.translated(offset));
        const int left = int(std::floor(r.left() * ratio));
        const int top = int(std::floor(r.top() * ratio));
        const int right = int(std::ceil((r.left() + r.width()) * ratio));
        const int bottom = int(std::ceil((r.top() + r.height()) * ratio));
        m_region += QRect(left, top, right - left, bottom - top);
    }
}

void RepaintTracker::follow(QAbstractScrollArea *area)
{
    // A scroll area moves its viewport's pixels in the backing store and
    // paints only the strip that came into view: the whole viewport
    // changed.
    if (m_followed.contains(area))
        return;
    m_followed.insert(area);
    auto scrolled = [this, area = QPointer<QAbstractScrollArea>(area)] {
        if (area && m_window && area->viewport()->window() == m_window)
            addLocal(area->viewport(), area->viewport()->rect());
    };
    for (QScrollBar *bar : {area->horizontalScrollBar(), area->verticalScrollBar()})
        m_connections.push_back(connect(bar, &QAbstractSlider::valueChanged, this, scrolled));
    m_connections.push_back(connect(area, &QObject::destroyed, this,
                                    [this](QObject *gone) { m_followed.remove(gone); }));
}

void RepaintTracker::unfollowAll()
{
    for (const auto &connection : m_connections)
        disconnect(connection);
    m_connections.clear();
    m_followed.clear();
}

bool RepaintTracker::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if ((type != QEvent::Paint && type != QEvent::Move && type != QEvent::Show)
        || !m_window || !watched->isWidgetType())
        return false;
    auto *widget = static_cast<QWidget *>(watched);
    if (widget->window() != m_window)
        return false;
    switch (type) {
    case QEvent::Paint:
        addLocal(widget, static_cast<QPaintEvent *>(event)->region());
        break;
    case QEvent::Move:
        if (widget != m_window && widget->isVisible()) {
            // The widget's pixels were moved in the backing store: both its
            // old and its new place changed.
            const auto *move = static_cast<QMoveEvent *>(event);
            const QWidget *parent = widget->parentWidget();
            QRegion places(QRect(move->oldPos(), widget->size()));
            places += QRect(move->pos(), widget->size());
            addLocal(parent, places);
        }
        break;
    case QEvent::Show:
        if (widget == m_window)
            invalidate();
        else if (auto *area = qobject_cast<QAbstractScrollArea *>(widget))
            follow(area);
        break;
    default:
        break;
    }
    return false;
}

} // namespace tessivo
