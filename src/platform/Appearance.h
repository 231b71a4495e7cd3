// Light and dark appearance, read from the palette.
#pragma once

#include "tessivo_export.h"

class QWidget;
class QPalette;

namespace tessivo {

enum class Appearance { light, dark };

/// Dark when the palette's window colour is darker than its text colour.
TESSIVO_EXPORT Appearance appearanceOf(const QPalette &palette);
/// The appearance a widget is drawn in (the application's when null).
TESSIVO_EXPORT Appearance appearanceOf(const QWidget *widget);

/// A palette for the given appearance, built from Qt's standard palette
/// (light) or a neutral dark palette. Used by the gallery and the demo.
TESSIVO_EXPORT QPalette paletteFor(Appearance appearance);

} // namespace tessivo
