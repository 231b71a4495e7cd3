// Every kit screen, opened over a host window the way a tester reaches it,
// for the layout test and the gallery; and a host window that looks like a
// real application (tool bar, form, list), so that screenshots show one.
#pragma once

#include "platform/Appearance.h"

#include <QList>
#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>

namespace tessivo::test {

/// A host application's main window: a tool bar, a form and a list.
QWidget *makeHostWindow(QSize size);

struct KitScreen {
    QString name;
    /// Opens the screen over `host` (shown already) and brings it to the
    /// state named.
    std::function<void(QWidget *host)> open;
};

/// The testing notes, the capture choice, the note editor with its panels,
/// alert and sheet, the photo editor with each bar and panel, and the
/// video editor with its panels.
QList<KitScreen> kitScreens();

/// Lets presentations, layouts and queued calls settle.
void settleScreens(int rounds = 8);

} // namespace tessivo::test
