// The photo editor in the kit's "Main" storyboard: by identifier, and as
// the destination of the capture choice screen's screenshot segue,
// pushed on its navigation controller so that closing the editor closes
// the whole session's screens.
#include "photo/PhotoEditorViewController.h"
#include "platform/Storyboard.h"

namespace tessivo {
namespace {

PhotoEditorViewController *makeEditor()
{
    auto *editor = new PhotoEditorViewController;
    editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    return editor;
}

const bool registered = [] {
    Storyboard &main = Storyboard::named(QStringLiteral("Main"));
    main.registerController(QStringLiteral("photoEditor"), [] { return makeEditor(); });
    main.registerSegue(QStringLiteral("showScreenshotEditor"), SegueKind::show, [] { return makeEditor(); });
    return true;
}();

} // namespace
} // namespace tessivo
