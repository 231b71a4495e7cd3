#include "platform/Keyboard.h"

#include <QGuiApplication>
#include <QInputMethod>

namespace tessivo {

Keyboard &Keyboard::shared()
{
    static auto *keyboard = new Keyboard; // process lifetime
    return *keyboard;
}

Keyboard::Keyboard()
{
    if (auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        moveToThread(app->thread());
        QInputMethod *im = QGuiApplication::inputMethod();
        connect(im, &QInputMethod::visibleChanged, this, &Keyboard::onInputMethodChanged);
        connect(im, &QInputMethod::keyboardRectangleChanged, this, &Keyboard::onInputMethodChanged);
    }
}

void Keyboard::onInputMethodChanged()
{
    QInputMethod *im = QGuiApplication::inputMethod();
    const bool visible = im->isVisible() && !im->keyboardRectangle().isEmpty();
    if (visible == m_visible && !visible)
        return;
    KeyboardNotification n;
    n.frameEnd = im->keyboardRectangle();
    post(visible, n);
}

void Keyboard::post(bool showing, const KeyboardNotification &notification)
{
    m_visible = showing;
    if (showing)
        Q_EMIT keyboardWillShow(notification);
    else
        Q_EMIT keyboardWillHide(notification);
}

} // namespace tessivo
