// A rotation: two touches turning around each other, Shift+wheel, or the
// trackpad's rotate. Continuous; rotation is in radians, clockwise on
// screen, since the gesture began (or since the last setRotation).
#pragma once

#include "platform/TwoTouchGestureRecognizer.h"

namespace tessivo {

class TESSIVO_EXPORT RotationGestureRecognizer : public TwoTouchGestureRecognizer
{
    Q_OBJECT
public:
    /// The turn of one wheel notch (120 eighths of a degree): 5 degrees.
    static constexpr qreal kWheelNotchRadians = M_PI / 36.0;

    explicit RotationGestureRecognizer(QObject *parent = nullptr);

    qreal rotation() const { return m_rotation; }
    void setRotation(qreal radians) { m_rotation = radians; }

protected:
    void reset() override;
    bool accumulate(qreal spread, qreal turn) override;
    bool passesHysteresis(qreal spread, qreal turn) const override;
    bool wheelStep(QWheelEvent *event) override;
    bool nativeStep(QNativeGestureEvent *event) override;

private:
    qreal m_rotation = 0.0;
};

} // namespace tessivo
