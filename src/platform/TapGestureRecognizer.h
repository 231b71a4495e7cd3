// A tap: touches (or a click) that go down and up without moving far.
#pragma once

#include "platform/GestureRecognizer.h"

#include <QElapsedTimer>

namespace tessivo {

class TESSIVO_EXPORT TapGestureRecognizer : public GestureRecognizer
{
    Q_OBJECT
public:
    static constexpr qreal kAllowableMovement = 10;
    static constexpr qint64 kMaximumDurationMs = 800;

    explicit TapGestureRecognizer(QObject *parent = nullptr);

    int numberOfTouchesRequired() const { return m_touchesRequired; }
    void setNumberOfTouchesRequired(int n) { m_touchesRequired = std::max(1, n); }

    void touchesChanged(const QList<TouchPoint> &touches, bool ended, bool cancelled) override;
    void mouseEvent(QMouseEvent *event, QPointF position) override;

protected:
    void reset() override;

private:
    void begin(QPointF position, int touches);
    void move(QPointF position);
    void end();

    int m_touchesRequired = 1;
    int m_maxTouches = 0;
    bool m_tracking = false;
    bool m_failed = false;
    QPointF m_start;
    QElapsedTimer m_clock;
};

} // namespace tessivo
