// What the annotation colour bar tells the editor.
#pragma once

#include "tessivo_export.h"

#include <QColor>

namespace tessivo {

class TESSIVO_EXPORT AnnotateControlsDelegate
{
public:
    virtual ~AnnotateControlsDelegate() = default;
    /// A swatch was picked.
    virtual void didSelectColor(const QColor &color) = 0;
    /// The back button: leave the tool.
    virtual void back() = 0;
};

} // namespace tessivo
