// What the markup colour bar tells the editor.
#pragma once

#include "tessivo_export.h"

#include <QColor>

namespace tessivo {

class TESSIVO_EXPORT MarkupControlsDelegate
{
public:
    virtual ~MarkupControlsDelegate() = default;
    /// A swatch was picked.
    virtual void didSelectColor(const QColor &color) = 0;
    /// The back button: leave the tool.
    virtual void back() = 0;
    /// The clear-all button: erase every stroke.
    virtual void clearDrawing() = 0;
};

} // namespace tessivo
