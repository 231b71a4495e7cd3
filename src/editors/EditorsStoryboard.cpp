// The editors in the kit's "Main" storyboard.
#include "editors/NoteEditorViewController.h"
#include "platform/Storyboard.h"

namespace tessivo {
namespace {

const bool registered = [] {
    Storyboard::named(QStringLiteral("Main"))
        .registerController(QStringLiteral("noteEditor"), [] { return new NoteEditorViewController; });
    return true;
}();

} // namespace
} // namespace tessivo
