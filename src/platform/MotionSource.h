// The process-wide motion source. On desktop a shake is a pointer shake
// (rapid back-and-forth with no button held) or a keyboard shortcut the
// host can change; each is delivered as a shake of the window it happened in
// (for a Qt Quick window, of the kit's WindowOverlay of it).
#pragma once

#include "tessivo_export.h"

#include <QElapsedTimer>
#include <QKeySequence>
#include <QList>
#include <QObject>

class QWidget;
class QWindow;

namespace tessivo {

/// Event subtypes with their raw values.
enum class EventSubtype { none = 0, motionShake = 1 };

class TESSIVO_EXPORT MotionSource : public QObject
{
    Q_OBJECT
public:
    static MotionSource &shared();

    /// Starts watching input (idempotent; needs a QApplication).
    void start();
    bool isRunning() const { return m_running; }

    QKeySequence shakeShortcut() const { return m_shortcut; }
    /// An empty sequence turns the shortcut off.
    void setShakeShortcut(const QKeySequence &shortcut) { m_shortcut = shortcut; }
    bool isPointerShakeEnabled() const { return m_pointerShake; }
    void setPointerShakeEnabled(bool enabled) { m_pointerShake = enabled; }

    /// Whether the device reports its own motion. Desktops have no motion
    /// sensor: their shakes are the shortcut and the pointer shake.
    bool hasMotionSensor() const { return false; }
    /// How to shake here, in words, naming only what is turned on
    /// ("press Ctrl+Alt+F or shake the pointer"); empty when nothing is.
    QString shakeInstructions() const;

    /// Delivers a motion to `window` as if the device had moved.
    void deliver(QWidget *window, EventSubtype subtype);

    // Pointer shake: this many reversals of horizontal direction, each leg
    // at least kLegDistance logical pixels, all within kWindowMs.
    static constexpr int kReversals = 4;
    static constexpr qreal kLegDistance = 40;
    static constexpr qint64 kWindowMs = 900;
    static constexpr qint64 kCooldownMs = 1000;

Q_SIGNALS:
    /// A motion ended in `window`.
    void motionEnded(QWidget *window, tessivo::EventSubtype subtype);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    MotionSource();
    /// Takes a pointer position; true when it completes a shake.
    bool trackPointer(qreal x);
    static QWidget *widgetOf(const QWindow *window);

    QKeySequence m_shortcut;
    bool m_running = false;
    bool m_pointerShake = true;
    // pointer-shake tracking
    bool m_hasLast = false;
    qreal m_lastX = 0;
    qreal m_legStart = 0;
    int m_direction = 0;
    QList<qint64> m_reversals;
    QElapsedTimer m_clock;
    qint64 m_lastShake = -kCooldownMs;
};

} // namespace tessivo
