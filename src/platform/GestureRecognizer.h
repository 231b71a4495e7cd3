// Gesture recognisers with target/action, states and a delegate, fed by the
// touch and pointer events of the window their view is in.
#pragma once

#include "tessivo_export.h"

#include <QGraphicsObject>
#include <QGraphicsView>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QWidget>

#include <functional>

class QMouseEvent;
class QTouchEvent;
class QWheelEvent;
class QNativeGestureEvent;



namespace tessivo {

class GestureRecognizer;

enum class GestureRecognizerState {
    possible = 0,
    began = 1,
    changed = 2,
    ended = 3, // also "recognized" for discrete gestures
    cancelled = 4,
    failed = 5,
};

class TESSIVO_EXPORT GestureRecognizerDelegate
{
public:
    virtual ~GestureRecognizerDelegate() = default;
    virtual bool gestureRecognizerShouldBegin(GestureRecognizer *) { return true; }
    /// Whether `recognizer` may recognise while `other` does too.
    virtual bool shouldRecognizeSimultaneously(GestureRecognizer *recognizer,
                                               GestureRecognizer *other)
    {
        Q_UNUSED(recognizer)
        Q_UNUSED(other)
        return false;
    }
};

/// One touch point, in the coordinates of the recogniser's view.
struct TouchPoint {
    int id = 0;
    QPointF position;
};

class TESSIVO_EXPORT GestureRecognizer : public QObject
{
    Q_OBJECT
public:
    using Action = std::function<void(GestureRecognizer *)>;

    explicit GestureRecognizer(QObject *parent = nullptr);
    ~GestureRecognizer() override;

    /// Adds a target/action pair; the action runs only while `target`
    /// lives (a null target means no lifetime check).
    void addTarget(QObject *target, Action action);
    bool hasTargets() const { return !m_targets.isEmpty(); }

    /// Attaches the recogniser to `view`, which then owns it.
    void addTo(QWidget *view);
    /// Attaches the recogniser to an item of a graphics view. Events reach
    /// it through the view's viewport (which owns it) only when the item
    /// is the topmost gesture-carrying item under the pointer, and enabled
    /// and visible. Positions stay in the viewport's coordinates.
    void addTo(QGraphicsObject *item, QGraphicsView *view);
    /// Detaches it from its view; the caller owns it afterwards.
    void removeFromView();
    QWidget *view() const { return m_view.data(); }
    /// The scene item it is attached to, null for a widget's recogniser.
    QGraphicsObject *item() const { return m_item.data(); }
    /// The recognisers attached to `view`, in the order they were added.
    static QList<GestureRecognizer *> recognizers(const QWidget *view);

    GestureRecognizerState state() const { return m_state; }
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled);

    /// The delegate; `delegateObject` is the QObject whose lifetime bounds
    /// it (usually the same object).
    template <typename D>
    void setDelegate(D *delegate)
    {
        m_delegate = delegate;
        m_delegateObject = delegate;
    }
    GestureRecognizerDelegate *delegate() const
    {
        return m_delegateObject ? m_delegate : nullptr;
    }

    /// Where the gesture is, in `widget`'s coordinates (the view's when null).
    QPointF location(const QWidget *widget = nullptr) const;
    int numberOfTouches() const { return static_cast<int>(m_touches.size()); }

    // Events, in the view's coordinates. The router calls these.
    virtual void touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled);
    virtual void mouseEvent(QMouseEvent *event, QPointF position);
    virtual void wheelEvent(QWheelEvent *event, QPointF position);
    virtual void nativeGestureEvent(QNativeGestureEvent *event, QPointF position);

protected:
    /// Moves to a state, running the actions for began, changed, ended
    /// and cancelled. Recognition fails simultaneous rivals (see delegate).
    void setState(GestureRecognizerState state);
    /// Back to possible; called after an end, cancel or failure once the
    /// gesture's touches are gone.
    virtual void reset();
    void setLocation(QPointF position) { m_location = position; }
    const QList<TouchPoint> &touches() const { return m_touches; }
    static QPointF centroid(const QList<TouchPoint> &touches);

private:
    friend class GestureRouter;
    struct Target {
        QPointer<QObject> object;
        bool hasObject;
        Action action;
    };
    void failRivals();

    QList<Target> m_targets;
    QPointer<QWidget> m_view;
    QPointer<QGraphicsObject> m_item;
    bool m_hasItem = false;
    QPointer<QObject> m_delegateObject;
    GestureRecognizerDelegate *m_delegate = nullptr;
    GestureRecognizerState m_state = GestureRecognizerState::possible;
    QList<TouchPoint> m_touches;
    QPointF m_location;
    bool m_enabled = true;
};

} // namespace tessivo
