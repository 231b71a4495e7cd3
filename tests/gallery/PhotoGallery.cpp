// The report image of an edited screenshot (the editor's modes are in the
// screens gallery, at every window size).
#include "Gallery.h"

#include "photo/PhotoEditorViewController.h"
#include "platform/UserDefaults.h"

#include <QApplication>
#include <QLabel>
#include <QScrollArea>
#include <QTest>
#include <QVBoxLayout>

namespace tessivo::gallery {
namespace {

struct Editor {
    QWidget *window = nullptr;
    PhotoEditorViewController *editor = nullptr;
};

Editor presentEditor(QSize size, Appearance appearance)
{
    qApp->setProperty("CFBundleDisplayName", QStringLiteral("Harbor Notes"));
    UserDefaults::standard().setString(QStringLiteral("Ann Whitfield"), QStringLiteral("noteAuthor"));
    Editor e;
    e.window = hostWindow(size, appearance);
    e.window->resize(size);
    e.window->show();
    settle();
    const QImage screenshot = e.window->grab().toImage();
    e.editor = new PhotoEditorViewController;
    e.editor->setImage(screenshot);
    e.editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    ViewController::rootOf(e.window)->present(e.editor, false);
    settle();
    return e;
}

/// A loop around the host's title, drawn with real segments.
void scribble(PhotoEditorViewController *editor)
{
    const QPointF centre(110, 46);
    QPointF last = centre + QPointF(90, 0);
    for (int step = 1; step <= 40; ++step) {
        const double angle = step * 2 * M_PI / 40;
        const QPointF next = centre + QPointF(90 * std::cos(angle), 30 * std::sin(angle));
        editor->drawLine(last, next);
        last = next;
    }
    editor->drawLine(QPointF(230, 90), QPointF(230, 90));
}

const bool entries = [] {
    auto markup = [](PhotoEditorViewController *editor) {
        editor->controlsView()->doAction(editor->controlsView()->markupButton());
        settle();
        scribble(editor);
        editor->markupControlsView()->selectItem(2);
        editor->drawLine(QPointF(40, 140), QPointF(300, 150));
    };

    // The report image that would be sent, shown scaled to fit.
    gallery::add({QStringLiteral("PhotoEditorViewController-report"), QSize(390, 760), [markup](Appearance a) {
                      Editor e = presentEditor(QSize(390, 760), a);
                      markup(e.editor);
                      e.editor->controlsView()->doAction(e.editor->controlsView()->noteButton());
                      e.editor->noteView()->noteTextView()->setPlainText(QStringLiteral("Total stays the same."));
                      e.editor->resetPanels();
                      const QImage report = e.editor->renderCanvas();
                      auto *window = new QLabel;
                      window->setAlignment(Qt::AlignCenter);
                      window->setStyleSheet(QStringLiteral("background: #808080;"));
                      window->setPixmap(QPixmap::fromImage(report).scaled(QSize(390, 760) * report.devicePixelRatio(),
                                                                          Qt::KeepAspectRatio,
                                                                          Qt::SmoothTransformation));
                      delete e.window;
                      return window;
                  }});
    return true;
}();

} // namespace
} // namespace tessivo::gallery
