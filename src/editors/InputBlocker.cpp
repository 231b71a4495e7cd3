#include "editors/InputBlocker.h"

#include <QApplication>
#include <QEvent>

namespace tessivo {

InputBlocker::InputBlocker(QWidget *target) : QObject(target), m_target(target) {}

InputBlocker::~InputBlocker()
{
    setBlocking(false);
}

void InputBlocker::setBlocking(bool blocking)
{
    if (blocking == m_blocking)
        return;
    m_blocking = blocking;
    if (blocking)
        qApp->installEventFilter(this);
    else
        qApp->removeEventFilter(this);
}

bool InputBlocker::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Shortcut:
    case QEvent::ShortcutOverride:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::InputMethod:
        break;
    default:
        return false;
    }
    auto *widget = qobject_cast<QWidget *>(watched);
    return widget && m_target && (widget == m_target || m_target->isAncestorOf(widget));
}

} // namespace tessivo
