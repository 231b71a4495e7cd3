// The editors in the kit's "Main" storyboard.
#include "editors/NoteEditorViewController.h"
#include "editors/VideoEditorViewController.h"
#include "platform/Storyboard.h"

namespace tessivo {
namespace {

const bool registered = [] {
    Storyboard::named(QStringLiteral("Main"))
        .registerController(QStringLiteral("noteEditor"), [] { return new NoteEditorViewController; });
    Storyboard::named(QStringLiteral("Main"))
        .registerController(QStringLiteral("videoEditor"), [] { return new VideoEditorViewController; });
    return true;
}();

} // namespace
} // namespace tessivo
