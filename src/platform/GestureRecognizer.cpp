#include "platform/GestureRecognizer.h"

#include "platform/WindowOverlay.h"

#include <QApplication>
#include <QGraphicsObject>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPointer>
#include <QSet>
#include <QTouchEvent>
#include <QWheelEvent>
#include <QWidget>
#include <QWindow>

namespace tessivo {

// Watches the events that reach each window (before widgets see them) and
// hands them to the recognisers attached inside that window whose view the
// gesture started in, the way touches reach the recognisers of the touched
// view and of its ancestors.
class GestureRouter : public QObject
{
public:
    static GestureRouter &shared()
    {
        static auto *router = new GestureRouter; // process lifetime
        return *router;
    }

    void attach(GestureRecognizer *recognizer)
    {
        if (!m_installed && qApp) {
            qApp->installEventFilter(this);
            m_installed = true;
        }
        m_all.append(recognizer);
    }
    void detach(GestureRecognizer *recognizer) { m_all.removeAll(recognizer); }

    QList<GestureRecognizer *> inWindow(const QWidget *window) const
    {
        QList<GestureRecognizer *> result;
        for (const auto &r : m_all) {
            if (r && r->view() && r->view()->window() == window)
                result.append(r.data());
        }
        return result;
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (m_all.isEmpty())
            return false;
        switch (event->type()) {
        case QEvent::TouchBegin:
        case QEvent::TouchUpdate:
        case QEvent::TouchEnd:
        case QEvent::TouchCancel:
            // Touches are taken at the window, before any widget can
            // accept or refuse them.
            if (auto *window = qobject_cast<QWindow *>(watched))
                routeTouch(window, static_cast<QTouchEvent *>(event));
            break;
        case QEvent::MouseButtonPress:
        case QEvent::MouseMove:
        case QEvent::MouseButtonRelease:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
        case QEvent::NativeGesture:
            // Pointer events are taken where they first reach a widget; the
            // same event bubbling to parents is seen once.
            if (auto *widget = qobject_cast<QWidget *>(watched); widget && isFirstDelivery(event))
                routePointerEvent(widget, event);
            break;
        default:
            break;
        }
        return false;
    }

private:
    bool isFirstDelivery(QEvent *event)
    {
        const auto *input = static_cast<QInputEvent *>(event);
        const bool repeat = event == m_lastPointerEvent && input->timestamp() == m_lastTimestamp
            && event->type() == m_lastType;
        m_lastPointerEvent = event;
        m_lastTimestamp = input->timestamp();
        m_lastType = event->type();
        return !repeat;
    }

    void routePointerEvent(QWidget *widget, QEvent *event)
    {
        QWidget *top = widget->window();
        switch (event->type()) {
        case QEvent::Wheel: {
            auto *wheel = static_cast<QWheelEvent *>(event);
            routePointer(top, wheel, QPointF(widget->mapTo(top, wheel->position().toPoint())), true);
            break;
        }
        case QEvent::NativeGesture: {
            auto *gesture = static_cast<QNativeGestureEvent *>(event);
            routePointer(top, gesture, QPointF(widget->mapTo(top, gesture->position().toPoint())), true);
            break;
        }
        default: {
            auto *mouse = static_cast<QMouseEvent *>(event);
            if (mouse->source() != Qt::MouseEventNotSynthesized)
                return; // made from touches, which went their own way
            routePointer(top, mouse, QPointF(widget->mapTo(top, mouse->position().toPoint())),
                         event->type() == QEvent::MouseButtonPress);
            break;
        }
        }
    }

private:
    static QWidget *widgetFor(QWindow *window)
    {
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (w->windowHandle() == window)
                return w;
        }
        return nullptr;
    }

    bool hits(GestureRecognizer *r, QWidget *top, QPointF windowPos) const
    {
        QWidget *view = r->view();
        if (!view || !r->isEnabled() || !isShown(view) || !takesInput(view, top))
            return false;
        const QPoint local = view->mapFrom(top, windowPos.toPoint());
        if (!view->rect().contains(local))
            return false;
        if (!r->m_hasItem)
            return true;
        return r->item() && r->item() == itemUnder(view, local);
    }

    /// The topmost enabled, visible item under a viewport point that has
    /// recognisers of its own (or whose ancestor has): scene items are
    /// hit the way the view stacks them.
    QGraphicsObject *itemUnder(QWidget *viewport, QPoint local) const
    {
        auto *graphicsView = qobject_cast<QGraphicsView *>(viewport->parentWidget());
        if (!graphicsView || graphicsView->viewport() != viewport)
            return nullptr;
        QSet<const QGraphicsItem *> carriers;
        for (const auto &r : m_all) {
            if (r && r->item())
                carriers.insert(r->item());
        }
        for (QGraphicsItem *hit : graphicsView->items(local)) {
            if (!hit->isVisible() || !hit->isEnabled())
                continue;
            for (QGraphicsItem *each = hit; each; each = each->parentItem()) {
                if (carriers.contains(each))
                    return each->toGraphicsObject();
            }
        }
        return nullptr;
    }

    /// A Qt Quick window's overlay stands for that window: its recognisers
    /// take the window's touches while the window is shown.
    static bool isShown(const QWidget *view)
    {
        if (auto *overlay = qobject_cast<const WindowOverlay *>(view))
            return overlay->isHostShown();
        return view->isVisible();
    }

    /// A view that lets input through (or sits in one that does) gets none.
    static bool takesInput(const QWidget *view, const QWidget *top)
    {
        for (const QWidget *w = view; w; w = w->parentWidget()) {
            if (!w->isEnabled() || w->testAttribute(Qt::WA_TransparentForMouseEvents))
                return false;
            if (w == top)
                break;
        }
        return true;
    }

    void routeTouch(QWindow *window, QTouchEvent *event)
    {
        QWidget *top = widgetFor(window);
        if (!top && WindowOverlay::isHostWindow(window))
            top = WindowOverlay::of(window);
        if (!top)
            return;
        const bool begin = event->type() == QEvent::TouchBegin;
        const bool end = event->type() == QEvent::TouchEnd;
        const bool cancel = event->type() == QEvent::TouchCancel;
        if (begin)
            m_touchTargets = targetsAt(top, event->points().isEmpty()
                                                ? QPointF()
                                                : event->points().first().position());
        for (const auto &r : std::as_const(m_touchTargets)) {
            if (!r)
                continue;
            QList<TouchPoint> points;
            for (const QEventPoint &p : event->points()) {
                if (end || cancel || p.state() == QEventPoint::Released)
                    continue;
                points.append({p.id(), QPointF(r->view()->mapFrom(top, p.position().toPoint()))});
            }
            r->touchesChanged(points, end, cancel);
        }
        if (end || cancel)
            m_touchTargets.clear();
    }

    template <typename E>
    void routePointer(QWidget *top, E *event, QPointF windowPos, bool starts)
    {
        if (starts || m_pointerTargets.isEmpty())
            m_pointerTargets = targetsAt(top, windowPos);
        for (const auto &r : std::as_const(m_pointerTargets)) {
            if (!r || !r->view())
                continue;
            const QPointF local = r->view()->mapFrom(top, windowPos.toPoint());
            if constexpr (std::is_same_v<E, QMouseEvent>)
                r->mouseEvent(event, local);
            else if constexpr (std::is_same_v<E, QWheelEvent>)
                r->wheelEvent(event, local);
            else
                r->nativeGestureEvent(event, local);
        }
        if (event->type() == QEvent::MouseButtonRelease)
            m_pointerTargets.clear();
    }

    QList<QPointer<GestureRecognizer>> targetsAt(QWidget *top, QPointF windowPos) const
    {
        QList<QPointer<GestureRecognizer>> result;
        for (GestureRecognizer *r : inWindow(top)) {
            if (hits(r, top, windowPos))
                result.append(r);
        }
        return result;
    }

    QList<QPointer<GestureRecognizer>> m_all;
    QList<QPointer<GestureRecognizer>> m_touchTargets;
    QList<QPointer<GestureRecognizer>> m_pointerTargets;
    QEvent *m_lastPointerEvent = nullptr;
    quint64 m_lastTimestamp = 0;
    QEvent::Type m_lastType = QEvent::None;
    bool m_installed = false;
};

GestureRecognizer::GestureRecognizer(QObject *parent) : QObject(parent) {}

GestureRecognizer::~GestureRecognizer()
{
    GestureRouter::shared().detach(this);
}

void GestureRecognizer::addTarget(QObject *target, Action action)
{
    m_targets.append({target, target != nullptr, std::move(action)});
}

void GestureRecognizer::addTo(QWidget *view)
{
    if (!view)
        return;
    removeFromView();
    m_view = view;
    m_item = nullptr;
    m_hasItem = false;
    setParent(view);
    view->setAttribute(Qt::WA_AcceptTouchEvents);
    GestureRouter::shared().attach(this);
}

void GestureRecognizer::addTo(QGraphicsObject *item, QGraphicsView *view)
{
    if (!item || !view)
        return;
    addTo(view->viewport());
    m_item = item;
    m_hasItem = true;
}

void GestureRecognizer::removeFromView()
{
    if (!m_view)
        return;
    GestureRouter::shared().detach(this);
    m_view = nullptr;
    m_item = nullptr;
    m_hasItem = false;
    setParent(nullptr);
}

QList<GestureRecognizer *> GestureRecognizer::recognizers(const QWidget *view)
{
    QList<GestureRecognizer *> result;
    if (!view)
        return result;
    for (GestureRecognizer *r : view->findChildren<GestureRecognizer *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (r->view() == view)
            result.append(r);
    }
    return result;
}

void GestureRecognizer::setEnabled(bool enabled)
{
    m_enabled = enabled;
    if (!enabled && (m_state == GestureRecognizerState::began || m_state == GestureRecognizerState::changed))
        setState(GestureRecognizerState::cancelled);
}

QPointF GestureRecognizer::location(const QWidget *widget) const
{
    if (!widget || !m_view || widget == m_view)
        return m_location;
    return QPointF(widget->mapFrom(m_view->window(), m_view->mapTo(m_view->window(), m_location.toPoint())));
}

QPointF GestureRecognizer::centroid(const QList<TouchPoint> &touches)
{
    QPointF sum;
    for (const auto &t : touches)
        sum += t.position;
    return touches.isEmpty() ? sum : sum / touches.size();
}

void GestureRecognizer::touchesChanged(const QList<TouchPoint> &touches, bool, bool)
{
    m_touches = touches;
    if (!touches.isEmpty())
        m_location = centroid(touches);
}

void GestureRecognizer::mouseEvent(QMouseEvent *, QPointF) {}
void GestureRecognizer::wheelEvent(QWheelEvent *, QPointF) {}
void GestureRecognizer::nativeGestureEvent(QNativeGestureEvent *, QPointF) {}

void GestureRecognizer::setState(GestureRecognizerState state)
{
    const bool starting = state == GestureRecognizerState::began
        || (state == GestureRecognizerState::ended && m_state == GestureRecognizerState::possible);
    if (starting && delegate() && !delegate()->gestureRecognizerShouldBegin(this))
        state = GestureRecognizerState::failed;
    m_state = state;
    if (starting && state != GestureRecognizerState::failed)
        failRivals();
    if (state == GestureRecognizerState::failed)
        return;
    if (state == GestureRecognizerState::possible)
        return;
    QPointer<GestureRecognizer> self(this);
    const auto targets = m_targets;
    for (const auto &t : targets) {
        if (t.hasObject && !t.object)
            continue;
        if (t.action)
            t.action(this);
        if (!self)
            return;
    }
}

void GestureRecognizer::failRivals()
{
    if (!m_view)
        return;
    for (GestureRecognizer *other : GestureRouter::shared().inWindow(m_view->window())) {
        if (other == this)
            continue;
        const bool active = other->m_state == GestureRecognizerState::began
            || other->m_state == GestureRecognizerState::changed;
        if (!active)
            continue;
        const bool together = (delegate() && delegate()->shouldRecognizeSimultaneously(this, other))
            || (other->delegate() && other->delegate()->shouldRecognizeSimultaneously(other, this));
        if (!together)
            other->setState(GestureRecognizerState::cancelled);
    }
}

void GestureRecognizer::reset()
{
    m_state = GestureRecognizerState::possible;
}

} // namespace tessivo
