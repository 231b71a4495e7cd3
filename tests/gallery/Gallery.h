// The gallery: every kit screen and view, rendered in light and dark to
// PNG files. Each area adds a <Area>Gallery.cpp with its entries.
#pragma once

#include "platform/Appearance.h"

#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>

namespace tessivo::gallery {

struct Entry {
    QString name;  // file name stem, e.g. "AlertController-alert"
    QSize size;    // the window size to render at
    /// Builds the shown widget (a top-level window) for an appearance. The
    /// gallery shows it, lets pending presentations settle, grabs it, and
    /// deletes it.
    std::function<QWidget *(Appearance)> make;
    /// The screen scale to render at: the gallery renders each scale in a
    /// process of its own (QT_SCALE_FACTOR).
    double scale = 1.0;
};

/// Adds an entry; returns true so that it can initialise a static.
bool add(Entry entry);

/// Lets presentations, layouts and animations settle (about half a second).
void settle();

/// A host app's window (tool bar, list, form) to present kit screens over.
QWidget *hostWindow(QSize size, Appearance appearance);

} // namespace tessivo::gallery
