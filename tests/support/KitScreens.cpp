#include "KitScreens.h"

#include "core/TessivoKit.h"
#include "editors/NoteEditorViewController.h"
#include "editors/VideoControlsView.h"
#include "editors/VideoEditorViewController.h"
#include "metadata/NoteTextView.h"
#include "metadata/SharingMethodView.h"
#include "photo/PhotoEditorViewController.h"
#include "platform/Storyboard.h"
#include "platform/UserDefaults.h"
#include "platform/ViewController.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QFormLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QProcess>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QToolBar>

namespace tessivo::test {

QWidget *makeHostWindow(QSize size)
{
    auto *window = new QMainWindow;
    window->setWindowTitle(QStringLiteral("Harbor Notes"));
    QToolBar *tools = window->addToolBar(QStringLiteral("Main"));
    for (const char *action : {"New", "Open", "Save", "Share", "Search"})
        tools->addAction(QString::fromLatin1(action));

    auto *split = new QSplitter(window);
    auto *list = new QListWidget(split);
    for (const char *item : {"Harbour walk, Tuesday", "Dock inspection", "Crew roster", "Fuel log",
                             "Tide tables", "Mooring fees", "Weather notes", "Supplies", "Engine hours"})
        list->addItem(QString::fromLatin1(item));
    list->setCurrentRow(1);
    auto *form = new QWidget(split);
    auto *fields = new QFormLayout(form);
    fields->addRow(QStringLiteral("Title"), new QLineEdit(QStringLiteral("Dock inspection"), form));
    auto *berth = new QComboBox(form);
    berth->addItems({QStringLiteral("Berth 4"), QStringLiteral("Berth 5")});
    fields->addRow(QStringLiteral("Berth"), berth);
    fields->addRow(QStringLiteral("Inspector"), new QLineEdit(QStringLiteral("M. Okafor"), form));
    fields->addRow(QString(), new QCheckBox(QStringLiteral("Hull checked"), form));
    auto *notes = new QTextEdit(form);
    notes->setPlainText(QStringLiteral("Fenders on the east side are worn; replace before the weekend."));
    fields->addRow(QStringLiteral("Notes"), notes);
    fields->addRow(QString(), new QPushButton(QStringLiteral("Save inspection"), form));
    split->setStretchFactor(1, 2);
    window->setCentralWidget(split);
    window->statusBar()->showMessage(QStringLiteral("Synced 2 minutes ago"));
    window->resize(size);
    return window;
}

void settleScreens(int rounds)
{
    for (int i = 0; i < rounds; ++i) {
        QApplication::processEvents();
        QTest::qWait(15);
    }
}

namespace {

void presentFromStoryboard(QWidget *host, const QString &identifier)
{
    ViewController *screen = Storyboard::named("Main").instantiateViewController(identifier);
    ViewController::rootOf(host)->present(screen, false);
}

template<typename Editor>
Editor *presentEditor(QWidget *host, Editor *editor)
{
    editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    ViewController::rootOf(host)->present(editor, false);
    settleScreens();
    return editor;
}

const QString kNote = QStringLiteral("The coupon field accepts the code, but the total does not change until I "
                                     "go back to the cart.");

NoteEditorViewController *noteEditor(QWidget *host, bool named)
{
    if (named)
        UserDefaults::standard().setString(QStringLiteral("Ann Whitfield"), QStringLiteral("noteAuthor"));
    else
        UserDefaults::standard().removeObject(QStringLiteral("noteAuthor"));
    UserDefaults::standard().removeObject(QStringLiteral("anonymousAuthor"));
    auto *editor = presentEditor(host, new NoteEditorViewController);
    editor->noteView()->noteTextView()->setPlainText(kNote);
    editor->noteTypeSelected(1);
    return editor;
}

PhotoEditorViewController *photoEditor(QWidget *host)
{
    UserDefaults::standard().setString(QStringLiteral("Ann Whitfield"), QStringLiteral("noteAuthor"));
    auto *editor = new PhotoEditorViewController;
    editor->setImage(host->grab().toImage());
    return presentEditor(host, editor);
}

/// A one-second movie of the host window as it looks now, made once per
/// window size and kept until the process ends; empty when ffmpeg is missing.
QString hostMovie(QWidget *host)
{
    static QTemporaryDir folder;
    static QHash<QString, QString> movies;
    const QImage frame = host->grab().toImage();
    const QString key = QStringLiteral("%1x%2").arg(frame.width()).arg(frame.height());
    if (movies.contains(key))
        return movies.value(key);
    const QString still = folder.filePath(key + QStringLiteral(".png"));
    const QString movie = folder.filePath(key + QStringLiteral(".mp4"));
    QProcess ffmpeg;
    if (frame.save(still)) {
        ffmpeg.start(QStringLiteral("ffmpeg"),
                     {"-nostdin", "-v", "error", "-y", "-loop", "1", "-i", still, "-t", "1", "-r", "30", "-vf",
                      "scale=trunc(iw/2)*2:trunc(ih/2)*2", "-pix_fmt", "yuv420p", movie});
        ffmpeg.waitForFinished(30000);
    }
    const bool made = ffmpeg.exitStatus() == QProcess::NormalExit && ffmpeg.exitCode() == 0 && QFile::exists(movie);
    movies.insert(key, made ? movie : QString());
    return movies.value(key);
}

VideoEditorViewController *videoEditor(QWidget *host)
{
    UserDefaults::standard().setString(QStringLiteral("Ann Whitfield"), QStringLiteral("noteAuthor"));
    auto *editor = new VideoEditorViewController;
    const QString movie = hostMovie(host);
    editor->videoFileURL = QUrl::fromLocalFile(
        movie.isEmpty() ? QDir::temp().filePath(QStringLiteral("tessivo-no-recording.mov")) : movie);
    presentEditor(host, editor);
    // The player shows the movie's first frame once it has decoded it.
    if (!movie.isEmpty())
        (void)QTest::qWaitFor([editor] { return !editor->avpController()->currentImage().isNull(); }, 10000);
    return editor;
}

void photoMode(QList<KitScreen> &screens, const QString &name, std::function<void(PhotoEditorViewController *)> act)
{
    screens.append({QStringLiteral("PhotoEditorViewController-") + name, [act](QWidget *host) {
                        act(photoEditor(host));
                    }});
}

} // namespace

QList<KitScreen> kitScreens()
{
    QList<KitScreen> screens;
    screens.append({QStringLiteral("TestingNotesViewController"), [](QWidget *host) {
                        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::shake;
                        TessivoKit::shared().testingNotes =
                            QStringLiteral("This build adds the new checkout flow.\n\n"
                                           "• Try paying with a saved card and with a new one.\n"
                                           "• Rotate the window on the summary page.\n"
                                           "• Tell us anything that feels slow.");
                        presentFromStoryboard(host, QStringLiteral("testingNotesNavController"));
                    }});
    screens.append({QStringLiteral("TestingNotesViewController-fourFingers"), [](QWidget *host) {
                        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::fourFingers;
                        TessivoKit::shared().testingNotes.clear();
                        presentFromStoryboard(host, QStringLiteral("testingNotesNavController"));
                    }});
    screens.append({QStringLiteral("SelectOptionViewController"), [](QWidget *host) {
                        presentFromStoryboard(host, QStringLiteral("initialNavController"));
                    }});
    screens.append({QStringLiteral("NoteEditorViewController-writing"), [](QWidget *host) {
                        noteEditor(host, true);
                    }});
    screens.append({QStringLiteral("NoteEditorViewController-sharePanel"), [](QWidget *host) {
                        NoteEditorViewController *editor = noteEditor(host, true);
                        editor->controlsView()->doAction(editor->controlsView()->shareButton());
                    }});
    screens.append({QStringLiteral("NoteEditorViewController-namePrompt"), [](QWidget *host) {
                        NoteEditorViewController *editor = noteEditor(host, false);
                        editor->controlsView()->doAction(editor->controlsView()->shareButton());
                        editor->shareView()->otherButtonAction();
                    }});
    screens.append({QStringLiteral("NoteEditorViewController-quitSheet"), [](QWidget *host) {
                        NoteEditorViewController *editor = noteEditor(host, true);
                        VideoControlsView *bar = editor->controlsView();
                        bar->doAction(bar->closeButton()); // leaves note editing
                        bar->doAction(bar->closeButton()); // asks to quit
                    }});
    photoMode(screens, QStringLiteral("idle"), [](PhotoEditorViewController *) {});
    photoMode(screens, QStringLiteral("markup"), [](PhotoEditorViewController *editor) {
        editor->controlsView()->doAction(editor->controlsView()->markupButton());
        editor->drawLine(QPointF(40, 60), QPointF(260, 90));
    });
    photoMode(screens, QStringLiteral("annotate"), [](PhotoEditorViewController *editor) {
        editor->controlsView()->doAction(editor->controlsView()->annotateButton());
    });
    photoMode(screens, QStringLiteral("stickers"), [](PhotoEditorViewController *editor) {
        editor->controlsView()->doAction(editor->controlsView()->stickersButton());
    });
    photoMode(screens, QStringLiteral("note"), [](PhotoEditorViewController *editor) {
        editor->controlsView()->doAction(editor->controlsView()->noteButton());
        editor->noteView()->noteTextView()->setPlainText(kNote);
    });
    photoMode(screens, QStringLiteral("sharePanel"), [](PhotoEditorViewController *editor) {
        editor->controlsView()->doAction(editor->controlsView()->shareButton());
    });
    photoMode(screens, QStringLiteral("quitSheet"), [](PhotoEditorViewController *editor) {
        editor->controlsView()->doAction(editor->controlsView()->closeButton());
    });
    screens.append({QStringLiteral("VideoEditorViewController"), [](QWidget *host) { videoEditor(host); }});
    screens.append({QStringLiteral("VideoEditorViewController-note"), [](QWidget *host) {
                        VideoEditorViewController *editor = videoEditor(host);
                        editor->noteTapped();
                        editor->noteView()->noteTextView()->setPlainText(kNote);
                    }});
    screens.append({QStringLiteral("VideoEditorViewController-sharePanel"), [](QWidget *host) {
                        videoEditor(host)->shareTapped();
                    }});
    return screens;
}

} // namespace tessivo::test
