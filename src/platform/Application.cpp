#include "platform/Application.h"

#include "platform/WindowOverlay.h"

#include <QApplication>
#include <QWindow>

namespace tessivo {

Application &Application::shared()
{
    static Application *instance = new Application; // lives as long as the process
    return *instance;
}

Application::Application()
{
    if (auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        moveToThread(app->thread());
        connect(app, &QGuiApplication::applicationStateChanged, this,
                &Application::onStateChanged);
    }
}

void Application::onStateChanged(Qt::ApplicationState state)
{
    const bool background = state == Qt::ApplicationSuspended || state == Qt::ApplicationHidden;
    if (background && !m_inBackground) {
        m_inBackground = true;
        Q_EMIT didEnterBackground();
    } else if (!background && m_inBackground) {
        m_inBackground = false;
        Q_EMIT willEnterForeground();
    }
}

QWidget *Application::keyWindow()
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return nullptr;
    if (QWidget *active = QApplication::activeWindow())
        return active;
    if (QWindow *focus = QGuiApplication::focusWindow()) {
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (w->windowHandle() == focus)
                return w;
        }
        // A Qt Quick (or other non-widget) window: the kit's overlay of it.
        if (WindowOverlay::isHostWindow(focus))
            return WindowOverlay::of(focus);
    }
    return nullptr;
}

QList<QWidget *> Application::windows()
{
    QList<QWidget *> result;
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return result;
    for (QWidget *w : QApplication::topLevelWidgets()) {
        if (w->isVisible() && !qobject_cast<WindowOverlay *>(w))
            result.append(w);
    }
    // Shown non-widget windows, each as the kit's overlay of it (shown or
    // not).
    for (QWindow *window : QGuiApplication::topLevelWindows()) {
        if (window->isVisible() && WindowOverlay::isHostWindow(window))
            result.append(WindowOverlay::of(window));
    }
    return result;
}

} // namespace tessivo
