// What pinch and rotation share: a continuous gesture of two touches (the
// spread and turn of the fingers between events), or of the desktop's
// modified wheel and trackpad gestures. A wheel gesture has no lift, so it
// ends once the wheel has been still for kWheelIdleMs.
#pragma once

#include "platform/GestureRecognizer.h"

#include <QTimer>

namespace tessivo {

class TESSIVO_EXPORT TwoTouchGestureRecognizer : public GestureRecognizer
{
    Q_OBJECT
public:
    static constexpr int kWheelIdleMs = 250;
    /// How far the fingers spread or turn before the gesture begins.
    static constexpr qreal kDistanceHysteresis = 4;
    static constexpr qreal kAngleHysteresis = 0.05; // radians

    void touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled) override;
    void wheelEvent(QWheelEvent *event, QPointF position) override;
    void nativeGestureEvent(QNativeGestureEvent *event, QPointF position) override;

protected:
    explicit TwoTouchGestureRecognizer(QObject *parent = nullptr);
    void reset() override;

    /// The fingers moved: the ratio of their distance to the last one and
    /// the change of their angle (radians, clockwise). Returns whether the
    /// change counts towards this gesture.
    virtual bool accumulate(qreal spread, qreal turn) = 0;
    /// Whether the fingers have moved far enough, since they went down, to
    /// begin: total spread ratio and total turn.
    virtual bool passesHysteresis(qreal spread, qreal turn) const = 0;
    /// A wheel step with the modifiers of this gesture, or false.
    virtual bool wheelStep(QWheelEvent *event) = 0;
    /// A trackpad gesture step of this kind, or false.
    virtual bool nativeStep(QNativeGestureEvent *event) = 0;

    /// Began or changed, as the gesture stands.
    void advance();
    void finish(bool cancelled);

private:
    bool m_tracking = false;
    qreal m_startDistance = 0;
    qreal m_startAngle = 0;
    qreal m_lastDistance = 0;
    qreal m_lastAngle = 0;
    QTimer m_wheelIdle;
};

} // namespace tessivo
