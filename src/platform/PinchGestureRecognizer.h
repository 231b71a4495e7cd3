// A pinch: two touches spreading or closing, Ctrl+wheel, or the trackpad's
// zoom. Continuous; scale is the factor since the pinch began (or since the
// last setScale).
#pragma once

#include "platform/TwoTouchGestureRecognizer.h"

namespace tessivo {

class TESSIVO_EXPORT PinchGestureRecognizer : public TwoTouchGestureRecognizer
{
    Q_OBJECT
public:
    /// The factor of one wheel notch (120 eighths of a degree).
    static constexpr qreal kWheelNotchScale = 1.1;

    explicit PinchGestureRecognizer(QObject *parent = nullptr);

    qreal scale() const { return m_scale; }
    void setScale(qreal scale) { m_scale = scale; }

protected:
    void reset() override;
    bool accumulate(qreal spread, qreal turn) override;
    bool passesHysteresis(qreal spread, qreal turn) const override;
    bool wheelStep(QWheelEvent *event) override;
    bool nativeStep(QNativeGestureEvent *event) override;

private:
    qreal m_scale = 1.0;
};

} // namespace tessivo
