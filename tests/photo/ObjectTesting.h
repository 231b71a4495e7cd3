// Pointer, wheel and touch input for the canvas objects' tests, sent
// through the window as the platform would.
#pragma once

#include "photo/PhotoEditorViewController.h"

#include <QApplication>
#include <QPointingDevice>
#include <QTest>
#include <QWheelEvent>

namespace tessivo::test {

/// A point of the stroke layer in the editor's window.
inline QPoint windowPoint(PhotoEditorViewController *editor, QPointF inLayer)
{
    CanvasScrollView *view = editor->canvasScrollView();
    const QPoint inViewport = view->mapFromScene(editor->canvasImageView()->mapToScene(inLayer));
    return view->viewport()->mapTo(editor->window(), inViewport);
}

/// Wheel notches at a window point, with modifiers (Ctrl pinches, Shift
/// rotates).
inline void wheel(QWidget *window, QPoint at, int notches, Qt::KeyboardModifiers modifiers)
{
    QWidget *target = window->childAt(at);
    if (!target)
        target = window;
    const QPointF local = target->mapFrom(window, at);
    static quint64 timestamp = 1;
    for (int i = 0; i < std::abs(notches); ++i) {
        QWheelEvent event(local, QPointF(window->mapToGlobal(at)), QPoint(), QPoint(0, notches > 0 ? 120 : -120),
                          Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
        event.setTimestamp(++timestamp);
        QApplication::sendEvent(target, &event);
    }
}

inline QPointingDevice *touchDevice()
{
    static QPointingDevice *device = QTest::createTouchDevice();
    return device;
}

/// Two fingers that go down at a and b and move, in `steps`, to a2 and b2.
inline void twoFingers(QWidget *window, QPoint a, QPoint b, QPoint a2, QPoint b2, int steps = 10)
{
    QWindow *handle = window->windowHandle();
    QTest::touchEvent(handle, touchDevice()).press(0, a).press(1, b);
    for (int i = 1; i <= steps; ++i)
        QTest::touchEvent(handle, touchDevice())
            .move(0, a + (a2 - a) * i / steps)
            .move(1, b + (b2 - b) * i / steps);
    QTest::touchEvent(handle, touchDevice()).release(0, a2).release(1, b2);
}

} // namespace tessivo::test
