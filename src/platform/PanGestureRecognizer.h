// A pan: touches (or, with one touch allowed, a mouse drag) that move far
// enough to start dragging. Continuous: began, changed while moving, ended
// when the touches lift. Translation and velocity are in a view's
// coordinates.
#pragma once

#include "platform/GestureRecognizer.h"

#include <QElapsedTimer>

namespace tessivo {

class TESSIVO_EXPORT PanGestureRecognizer : public GestureRecognizer
{
    Q_OBJECT
public:
    /// How far the touches move before the pan begins.
    static constexpr qreal kHysteresis = 10;

    explicit PanGestureRecognizer(QObject *parent = nullptr);

    int minimumNumberOfTouches() const { return m_minimumTouches; }
    void setMinimumNumberOfTouches(int n) { m_minimumTouches = std::max(1, n); }
    int maximumNumberOfTouches() const { return m_maximumTouches; }
    void setMaximumNumberOfTouches(int n) { m_maximumTouches = std::max(1, n); }

    /// The movement since the pan began (or since the last
    /// setTranslation), in `widget`'s coordinates (the view's when null).
    QPointF translation(const QWidget *widget = nullptr) const;
    void setTranslation(QPointF translation, const QWidget *widget = nullptr);
    /// Points per second, from the last movements.
    QPointF velocity(const QWidget *widget = nullptr) const;

    void touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled) override;
    void mouseEvent(QMouseEvent *event, QPointF position) override;

protected:
    void reset() override;

private:
    void press(QPointF position);
    void move(QPointF position);
    void release(bool cancelled);
    /// A vector in the view's coordinates seen from `widget` (no offset).
    QPointF mapVector(QPointF vector, const QWidget *widget) const;

    int m_minimumTouches = 1;
    int m_maximumTouches = 1000;
    bool m_tracking = false;
    QPointF m_start;     // where the touches went down
    QPointF m_origin;    // translation is measured from here
    QPointF m_last;
    QPointF m_velocity;
    QElapsedTimer m_clock;
    qint64 m_lastTime = 0;
};

} // namespace tessivo
