// The note editor: writing a note, the name prompt, the card with the
// share panel, and the quit sheet.
#include "Gallery.h"

#include "editors/NoteEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/UserDefaults.h"

#include <QApplication>
#include <QTest>
#include <QTextEdit>

namespace tessivo::gallery {
namespace {

struct Editor {
    QWidget *window = nullptr;
    NoteEditorViewController *editor = nullptr;
};

Editor presentEditor(QSize size, Appearance appearance)
{
    qApp->setProperty("CFBundleDisplayName", QStringLiteral("Harbor Notes"));
    UserDefaults::standard().removeObject(QStringLiteral("noteAuthor"));
    UserDefaults::standard().removeObject(QStringLiteral("anonymousAuthor"));
    Editor e;
    e.window = hostWindow(size, appearance);
    e.window->resize(size);
    e.window->show();
    e.editor = new NoteEditorViewController;
    e.editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    ViewController::rootOf(e.window)->present(e.editor, false);
    settle();
    return e;
}

void fill(NoteEditorViewController *editor)
{
    editor->noteView()->nameTextView()->setPlainText(QStringLiteral("Ann Whitfield"));
    editor->noteView()->noteTextView()->setPlainText(
        QStringLiteral("The coupon field accepts the code, but the total does not change until I go back "
                       "to the cart."));
    editor->noteTypeSelected(1);
}

QWidget *writing(QSize size, Appearance appearance)
{
    Editor e = presentEditor(size, appearance);
    fill(e.editor);
    settle();
    return e.window;
}

QWidget *card(QSize size, Appearance appearance)
{
    Editor e = presentEditor(size, appearance);
    fill(e.editor);
    e.editor->controlsView()->doAction(e.editor->controlsView()->shareButton());
    settle();
    return e.window;
}

const bool noteEditor = add({QStringLiteral("NoteEditorViewController-writing"), QSize(390, 760),
                             [](Appearance a) { return writing(QSize(390, 760), a); }});

const bool noteEditorDesktop = add({QStringLiteral("NoteEditorViewController-writing-desktop"), QSize(1280, 800),
                                    [](Appearance a) { return writing(QSize(1280, 800), a); }});

const bool sharePanel = add({QStringLiteral("NoteEditorViewController-sharePanel"), QSize(390, 760),
                             [](Appearance a) { return card(QSize(390, 760), a); }});

const bool sharePanelDesktop = add({QStringLiteral("NoteEditorViewController-sharePanel-desktop"),
                                    QSize(1280, 800), [](Appearance a) { return card(QSize(1280, 800), a); }});

const bool namePrompt = add({QStringLiteral("NoteEditorViewController-namePrompt"), QSize(390, 760),
                             [](Appearance a) {
                                 Editor e = presentEditor(QSize(390, 760), a);
                                 e.editor->noteView()->noteTextView()->setPlainText(
                                     QStringLiteral("Search forgets the filter after rotating."));
                                 e.editor->controlsView()->doAction(e.editor->controlsView()->shareButton());
                                 e.editor->shareView()->otherButtonAction();
                                 settle();
                                 return e.window;
                             }});

const bool quitSheet = add({QStringLiteral("NoteEditorViewController-quitSheet"), QSize(390, 760),
                            [](Appearance a) {
                                Editor e = presentEditor(QSize(390, 760), a);
                                fill(e.editor);
                                VideoControlsView *bar = e.editor->controlsView();
                                bar->doAction(bar->closeButton()); // leaves note editing
                                bar->doAction(bar->closeButton()); // asks to quit
                                settle();
                                return e.window;
                            }});

} // namespace
} // namespace tessivo::gallery
