#include "platform/KeyActivation.h"

#include <QKeyEvent>
#include <QWidget>

namespace tessivo {

KeyActivation::KeyActivation(QWidget *view, std::function<void()> action)
    : QObject(view), m_action(std::move(action))
{
    view->setFocusPolicy(Qt::TabFocus);
    view->installEventFilter(this);
}

KeyActivation *KeyActivation::install(QWidget *view, std::function<void()> action)
{
    return view ? new KeyActivation(view, std::move(action)) : nullptr;
}

bool KeyActivation::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parent() && event->type() == QEvent::KeyPress) {
        auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Space || key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            if (!key->isAutoRepeat() && m_action)
                m_action();
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

} // namespace tessivo
