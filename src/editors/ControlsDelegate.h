// What a tool bar tells the editor that owns it. The photo editor answers
// all seven; the video and note editors answer note, close, share and
// toolDeselected.
#pragma once

#include "tessivo_export.h"

namespace tessivo {

class TESSIVO_EXPORT ControlsDelegate
{
public:
    virtual ~ControlsDelegate() = default;
    /// The annotate button was pressed while not selected.
    virtual void annotateTapped() = 0;
    /// The markup button was pressed while not selected.
    virtual void markupTapped() = 0;
    /// The note button was pressed while not selected.
    virtual void noteTapped() = 0;
    /// The stickers button was pressed while not selected.
    virtual void stickersTapped() = 0;
    /// The close button was pressed, selected or not.
    virtual void closeTapped() = 0;
    /// The share button was pressed while not selected.
    virtual void shareTapped() = 0;
    /// A button other than close was pressed while already selected.
    virtual void toolDeselected() = 0;
};

} // namespace tessivo
