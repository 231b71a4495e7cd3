// The host application as the kit sees it: its key window and its
// activity transitions.
#pragma once

#include "tessivo_export.h"

#include <QObject>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT Application : public QObject
{
    Q_OBJECT
public:
    /// The process-wide instance (created on first use, on the GUI thread).
    static Application &shared();

    /// The active top-level widget, falling back to the widget of the focus
    /// window, or to the kit's WindowOverlay of it when the focus window is
    /// not a widget's (a Qt Quick window); null when the host has no active
    /// window.
    static QWidget *keyWindow();
    /// The host's top-level widgets that are shown, in creation order, then
    /// the overlays of its shown non-widget windows.
    static QList<QWidget *> windows();

Q_SIGNALS:
    /// The application went to the background (suspended or hidden).
    void didEnterBackground();
    /// The application is coming back from the background.
    void willEnterForeground();

private:
    Application();
    void onStateChanged(Qt::ApplicationState state);

    bool m_inBackground = false;
};

} // namespace tessivo
