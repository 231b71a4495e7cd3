// The video editor with its note and share panels. The gallery has no
// recording, so the player area stays dark.
#include "Gallery.h"

#include "editors/VideoEditorViewController.h"
#include "metadata/NoteTextView.h"
#include "platform/UserDefaults.h"

#include <QApplication>
#include <QDir>
#include <QTest>
#include <QTextEdit>

namespace tessivo::gallery {
namespace {

QWidget *videoEditor(QSize size, Appearance appearance, int panel)
{
    UserDefaults::standard().setString(QStringLiteral("Ann Whitfield"), QStringLiteral("noteAuthor"));
    QWidget *window = hostWindow(size, appearance);
    window->resize(size);
    window->show();
    auto *editor = new VideoEditorViewController;
    editor->videoFileURL = QUrl::fromLocalFile(QDir::temp().filePath(QStringLiteral("tessivo-gallery-none.mov")));
    ViewController::rootOf(window)->present(editor, false);
    for (int i = 0; i < 10; ++i)
        QTest::qWait(20);
    if (panel == 1) {
        editor->noteTapped();
        editor->noteView()->noteTextView()->setPlainText(QStringLiteral("The list jumps when a row is removed."));
    } else if (panel == 2) {
        editor->shareTapped();
    }
    return window;
}

const bool idle = add({QStringLiteral("VideoEditorViewController"), QSize(390, 760),
                       [](Appearance a) { return videoEditor(QSize(390, 760), a, 0); }});
const bool note = add({QStringLiteral("VideoEditorViewController-note"), QSize(390, 760),
                       [](Appearance a) { return videoEditor(QSize(390, 760), a, 1); }});
const bool share = add({QStringLiteral("VideoEditorViewController-sharePanel"), QSize(390, 760),
                        [](Appearance a) { return videoEditor(QSize(390, 760), a, 2); }});

} // namespace
} // namespace tessivo::gallery
