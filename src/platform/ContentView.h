// Views that take their content from the .ui file named after their class.
#pragma once

#include "platform/Layer.h"

#include <QVBoxLayout>
#include <QWidget>

namespace tessivo {

/// Builds the content of `owner` from a Designer form: a new root widget
/// filled by `ui.setupUi`, added to `owner` so that it fills its bounds and
/// follows its size. Layer keys set as dynamic properties are applied.
/// Returns the root (the platform's first top-level object of the file).
template <typename Form>
QWidget *loadContentView(QWidget *owner, Form &ui)
{
    auto *content = new QWidget(owner);
    ui.setupUi(content);
    auto *fill = owner->layout() ? nullptr : new QVBoxLayout(owner);
    if (fill) {
        fill->setContentsMargins(0, 0, 0, 0);
        fill->setSpacing(0);
        fill->addWidget(content);
    } else {
        owner->layout()->addWidget(content);
    }
    Layer::applyDesignerProperties(content);
    return content;
}

/// A required outlet found empty is a programming error.
template <typename T>
T *requireOutlet(T *outlet, const char *name)
{
    if (!outlet)
        qFatal("Tessivo: required outlet '%s' is empty", name);
    return outlet;
}

} // namespace tessivo
