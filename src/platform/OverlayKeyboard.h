// The desktop's keyboard conventions for controllers presented over a
// window. While one is shown:
// - Escape runs the top-most controller's escapePressed() (its close or
//   cancel button, pressed as a click would);
// - Tab and Shift+Tab cycle through the top-most controller's controls and
//   never leave it, with a ring around the control reached by keyboard;
// - Return and Enter press a focused button (Space already does);
// - focus that lands behind the overlay goes back into the top-most
//   controller, to the control that had it last.
// When the last presented controller has gone, the host widget that had
// focus before the first one came gets it back.
#pragma once

#include "tessivo_export.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QWidget>

class QAbstractButton;

namespace tessivo {

class FocusRing;
class ViewController;

class TESSIVO_EXPORT OverlayKeyboard : public QObject
{
    Q_OBJECT
public:
    static OverlayKeyboard &shared();

    /// Presentation calls this once `controller` is shown over its window:
    /// focus moves into it.
    void presented(ViewController *controller);
    /// Presentation calls this once a presented controller has left `window`.
    void dismissed(QWidget *window);

    /// The top-most presented controller over `window` that is not
    /// leaving, or null when the window shows none.
    static ViewController *topPresented(QWidget *window);
    /// The controls Tab visits in `controller`, in order.
    static QList<QWidget *> tabChain(const QWidget *controller);

    /// The dynamic property that marks a screen's close or cancel button.
    static constexpr const char *kCancelButtonProperty = "cancelButton";
    static void markCancelButton(QAbstractButton *button);

    /// The ring drawn around the control reached by keyboard (null when
    /// none is shown).
    QWidget *focusRing() const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    OverlayKeyboard();
    void focusChanged(QWidget *old, QWidget *now);
    void moveFocus(ViewController *top, bool forward);
    void updateRing();

    struct HostFocus {
        QPointer<QWidget> window;
        QPointer<QWidget> widget; // what had focus there before the kit
    };
    QList<HostFocus> m_hostFocus;
    QHash<ViewController *, QPointer<QWidget>> m_lastFocus;   // controller -> its control
    QPointer<FocusRing> m_ring;
    bool m_keyboardMode = false;
};

} // namespace tessivo
