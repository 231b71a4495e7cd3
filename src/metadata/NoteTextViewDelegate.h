// What a NoteTextView tells its owner about note-type picks.
#pragma once

#include "tessivo_export.h"

namespace tessivo {

class TESSIVO_EXPORT NoteTextViewDelegate
{
public:
    virtual ~NoteTextViewDelegate() = default;
    /// The note type at `index` of noteTypes() was selected.
    virtual void noteTypeSelected(int index) = 0;
    /// The note type at `index` of noteTypes() was deselected.
    virtual void noteTypeDeselected(int index) = 0;
};

} // namespace tessivo
