#include "platform/MotionSource.h"

#include "platform/WindowOverlay.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QStringList>
#include <QWidget>
#include <QWindow>

namespace tessivo {

MotionSource &MotionSource::shared()
{
    static auto *source = new MotionSource; // process lifetime
    return *source;
}

MotionSource::MotionSource() : m_shortcut(QStringLiteral("Ctrl+Alt+F"))
{
    m_clock.start();
}

void MotionSource::start()
{
    if (m_running || !qobject_cast<QApplication *>(QCoreApplication::instance()))
        return;
    moveToThread(qApp->thread());
    qApp->installEventFilter(this);
    m_running = true;
}

QString MotionSource::shakeInstructions() const
{
    QStringList ways;
    if (!m_shortcut.isEmpty())
        ways << QStringLiteral("press %1").arg(m_shortcut.toString(QKeySequence::NativeText));
    if (m_pointerShake)
        ways << QStringLiteral("shake the pointer");
    return ways.join(QStringLiteral(" or "));
}

void MotionSource::deliver(QWidget *window, EventSubtype subtype)
{
    Q_EMIT motionEnded(window ? window->window() : nullptr, subtype);
}

bool MotionSource::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseMove && m_pointerShake) {
        // Moves reach the window whether or not a widget tracks the mouse.
        if (auto *window = qobject_cast<QWindow *>(watched)) {
            auto *mouse = static_cast<QMouseEvent *>(event);
            if (mouse->buttons() == Qt::NoButton && mouse->source() == Qt::MouseEventNotSynthesized) {
                QWidget *top = widgetOf(window);
                if ((top || WindowOverlay::isHostWindow(window))
                    && trackPointer(mouse->globalPosition().x()))
                    deliver(top ? top : WindowOverlay::of(window), EventSubtype::motionShake);
            }
        }
        return false;
    }
    if ((event->type() != QEvent::ShortcutOverride && event->type() != QEvent::KeyPress)
        || m_shortcut.isEmpty())
        return false;
    auto *widget = qobject_cast<QWidget *>(watched);
    QWindow *host = nullptr;
    if (!widget) {
        // In a window that is not a widget's (Qt Quick), the override goes
        // to its focus object and the press to the window before its items.
        QWindow *focus = QGuiApplication::focusWindow();
        if (!WindowOverlay::isHostWindow(focus)
            || (event->type() == QEvent::KeyPress && watched != focus))
            return false;
        host = focus;
    }
    auto *key = static_cast<QKeyEvent *>(event);
    const QKeySequence pressed(key->keyCombination());
    if (pressed.matches(m_shortcut) != QKeySequence::ExactMatch)
        return false;
    // Claim the key before the host's shortcuts; act on the press.
    key->accept();
    if (event->type() == QEvent::KeyPress && !key->isAutoRepeat())
        deliver(widget ? widget : WindowOverlay::of(host), EventSubtype::motionShake);
    return true;
}

QWidget *MotionSource::widgetOf(const QWindow *window)
{
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (top->windowHandle() == window)
            return top;
    }
    return nullptr;
}

bool MotionSource::trackPointer(qreal x)
{
    const qint64 now = m_clock.elapsed();
    if (!m_hasLast) {
        m_hasLast = true;
        m_lastX = x;
        return false;
    }
    const qreal previous = m_lastX;
    const int direction = x > previous ? 1 : (x < previous ? -1 : 0);
    m_lastX = x;
    if (direction == 0)
        return false;
    if (m_direction == 0) {
        m_direction = direction;
        m_legStart = previous;
        return false;
    }
    if (direction != m_direction) {
        // The pointer turned at the previous position: that is where the
        // leg before the turn ends and the next one starts.
        if (std::abs(previous - m_legStart) >= kLegDistance)
            m_reversals.append(now);
        else
            m_reversals.clear();
        m_direction = direction;
        m_legStart = previous;
    }
    while (!m_reversals.isEmpty() && now - m_reversals.first() > kWindowMs)
        m_reversals.removeFirst();
    if (m_reversals.size() >= kReversals && now - m_lastShake >= kCooldownMs) {
        m_reversals.clear();
        m_lastShake = now;
        return true;
    }
    return false;
}

} // namespace tessivo
