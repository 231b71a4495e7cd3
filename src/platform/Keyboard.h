// Keyboard notifications: the on-screen keyboard's frame, animation
// duration and curve as it shows and hides. Desktops without a virtual
// keyboard send none.
#pragma once

#include "tessivo_export.h"

#include <QEasingCurve>
#include <QObject>
#include <QRectF>

namespace tessivo {

struct KeyboardNotification {
    QRectF frameEnd;         // where the keyboard ends up, in screen coordinates
    double duration = 0.25;  // seconds
    QEasingCurve curve = QEasingCurve::OutCubic;
};

class TESSIVO_EXPORT Keyboard : public QObject
{
    Q_OBJECT
public:
    static Keyboard &shared();

    /// Posts a notification as the system would (tests; platforms that
    /// learn of the keyboard some other way).
    void post(bool showing, const KeyboardNotification &notification);

Q_SIGNALS:
    void keyboardWillShow(const tessivo::KeyboardNotification &notification);
    void keyboardWillHide(const tessivo::KeyboardNotification &notification);

private:
    Keyboard();
    void onInputMethodChanged();
    bool m_visible = false;
};

} // namespace tessivo
