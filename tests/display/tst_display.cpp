// The kit where testers meet it: the demo on a real X server (a private
// Xvfb), driven from outside with real X input (xdotool), and checked on the
// server's own picture of the screen (the root window). The demo only tells
// where its widgets are and how each looks on its own (its probe); every
// press, move and key comes through the X server. The pictures of each step
// are kept in the build folder (xtier/).
#include "DemoRemote.h"
#include "ScreenPixels.h"
#include "XdoTool.h"
#include "XvfbServer.h"

#include <QDir>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>
#include <QTest>

#include <memory>

using namespace ScreenPixels;

namespace {

constexpr QSize kScreen(1280, 800);
constexpr double kSameLook = 0.9;
// Grey levels (of 255) by which a video frame of the demo's window may differ
// from a grab of it: planets move. A plain light background is further off.
constexpr double kSameScene = 8;
const QString kAuthor = QStringLiteral("Xtier Tester");

QPoint centreOf(const QRect &rect)
{
    return rect.center();
}

} // namespace

class tst_Display : public QObject
{
    Q_OBJECT
public:
    tst_Display(QString display, QString unavailable)
        : m_display(std::move(display)), m_unavailable(std::move(unavailable))
    {
    }

private Q_SLOTS:
    void initTestCase();
    void firstRunScreen();
    void consentAfterShortcutShake();
    void screenshotReportAfterPointerShake();
    void videoReportWithPanelsOverTheVideo();
    void noteReport();
    void cleanup();
    void cleanupTestCase();

private:
    QImage snap(const QString &name);
    std::optional<DemoRemote::Widget> settled(const QString &path, const QString &text = {}, int ms = 20000);
    bool clickOn(const QString &path, const QString &text = {});
    bool answerAlert(const QString &action);
    bool shakeOpensChoice(bool byPointer);
    bool looksLikeItself(const DemoRemote::Widget &widget, const QString &name);
    void sendByMonday(const QString &kind);
    void quitEditor(const QString &action, const QString &editorPart);

    QString m_display;
    QString m_unavailable;
    std::unique_ptr<DemoRemote> m_demo;
    std::unique_ptr<XdoTool> m_input;
    QString m_artefacts;
    int m_shots = 0;
    qsizetype m_reports = 0;
};

void tst_Display::initTestCase()
{
    if (!m_unavailable.isEmpty())
        QSKIP(qPrintable(m_unavailable));
    QVERIFY2(!m_display.isEmpty(), "the X server did not start");
    m_artefacts = QStringLiteral(TESSIVO_DISPLAY_ARTEFACTS);
    QDir(m_artefacts).removeRecursively();
    QVERIFY(QDir().mkpath(m_artefacts));
    m_input = std::make_unique<XdoTool>(QStandardPaths::findExecutable(QStringLiteral("xdotool")), m_display);
    m_demo = std::make_unique<DemoRemote>();
    QVERIFY2(m_demo->start(QStringLiteral(TESSIVO_DEMO_PROGRAM), m_display), qPrintable(m_demo->error()));
}

// A step that failed may leave the kit half-way; the next step starts from
// the demo alone again, on the same home.
void tst_Display::cleanup()
{
    if (!QTest::currentTestFailed() || !m_demo)
        return;
    snap(QStringLiteral("%1-failed").arg(QString::fromLatin1(QTest::currentTestFunction())));
    m_demo->stop();
    QVERIFY2(m_demo->start(QStringLiteral(TESSIVO_DEMO_PROGRAM), m_display), qPrintable(m_demo->error()));
    QVERIFY(m_demo->waitFor(QStringLiteral("DemoWindow")));
    m_reports = m_demo->inboxItems().size();
}

void tst_Display::cleanupTestCase()
{
    if (m_demo)
        m_demo->stop();
}

QImage tst_Display::snap(const QString &name)
{
    const QImage screen = grabScreen();
    screen.save(QDir(m_artefacts).filePath(QStringLiteral("%1-%2.png").arg(++m_shots, 2, 10, QLatin1Char('0')).arg(name)));
    return screen;
}

// A widget once it stays put: presentations slide in.
std::optional<DemoRemote::Widget> tst_Display::settled(const QString &path, const QString &text, int ms)
{
    std::optional<DemoRemote::Widget> last;
    const bool still = QTest::qWaitFor(
        [&] {
            const auto now = m_demo->find(path, text);
            const bool same = now && last && now->rect == last->rect;
            last = now;
            if (!same)
                QTest::qWait(150);
            return same;
        },
        ms);
    return still ? last : std::nullopt;
}

bool tst_Display::clickOn(const QString &path, const QString &text)
{
    const auto widget = settled(path, text);
    if (!widget) {
        qWarning("no visible widget %s %s", qPrintable(path), qPrintable(text));
        return false;
    }
    return m_input->click(centreOf(widget->rect));
}

bool tst_Display::answerAlert(const QString &action)
{
    for (int i = 0; i < 4; ++i) {
        const QString button = QStringLiteral("alertAction%1").arg(i);
        if (m_demo->find(button, action))
            return clickOn(button, action) && m_demo->waitForGone(QStringLiteral("alertCard"));
    }
    return false;
}

bool tst_Display::shakeOpensChoice(bool byPointer)
{
    const auto window = m_demo->find(QStringLiteral("DemoWindow"));
    if (!window)
        return false;
    // A loaded machine may fold motion events together; a second shake is
    // still a shake of the pointer.
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (byPointer ? !m_input->pointerShake(centreOf(window->rect)) : !m_input->key(QStringLiteral("ctrl+alt+f")))
            return false;
        if (m_demo->waitForTop(QStringLiteral("tessivo::SelectOptionViewController"), 8000))
            return true;
        qWarning("the %s shake did not open the capture choice, again", byPointer ? "pointer" : "shortcut");
    }
    return false;
}

// The widget's place on the X screen shows what the widget paints.
bool tst_Display::looksLikeItself(const DemoRemote::Widget &widget, const QString &name)
{
    const QImage look = m_demo->ownLook(widget.path);
    if (look.isNull())
        return false;
    double match = 0;
    (void)QTest::qWaitFor([&] { return (match = lookMatch(grabScreen(), widget.rect, look)) >= kSameLook; }, 5000);
    look.save(QDir(m_artefacts).filePath(name + QStringLiteral("-own-look.png")));
    const QImage screen = snap(name);
    match = lookMatch(screen, widget.rect, look);
    qInfo("%s: %.0f%% of its own pixels on the screen", qPrintable(name), match * 100);
    return match >= kSameLook;
}

void tst_Display::sendByMonday(const QString &kind)
{
    QVERIFY(clickOn(QStringLiteral("mondayButton")));
    QVERIFY2(m_demo->waitFor(QStringLiteral("alertTitle"), QStringLiteral("Shared!"), 90000), "no result alert");
    snap(kind + QStringLiteral("-shared"));
    QVERIFY(answerAlert(QStringLiteral("Ok")));
}

void tst_Display::quitEditor(const QString &action, const QString &editorPart)
{
    QVERIFY(answerAlert(action));
    QVERIFY2(m_demo->waitForGone(editorPart, 30000), "the editor did not close");
}

void tst_Display::firstRunScreen()
{
    QVERIFY2(m_demo->waitForTop(QStringLiteral("tessivo::TestingNotesViewController"), 60000),
             qPrintable(m_demo->output()));
    const auto card = settled(QStringLiteral("helperView"));
    QVERIFY(card);
    QVERIFY2(looksLikeItself(*card, QStringLiteral("first-run")), "the first-run card is not on the screen");
    QVERIFY(clickOn(QStringLiteral("beginTestingButton")));
    QVERIFY(m_demo->waitForGone(QStringLiteral("helperView")));
}

void tst_Display::consentAfterShortcutShake()
{
    QVERIFY2(shakeOpensChoice(false), "Ctrl+Alt+F did not open the capture choice");
    const auto tile = settled(QStringLiteral("tiles/videoView"));
    QVERIFY(tile);
    QVERIFY2(looksLikeItself(*tile, QStringLiteral("choice-by-shortcut")), "the capture choice is not on the screen");
    QVERIFY(m_input->click(centreOf(tile->rect)));
    QVERIFY(m_demo->waitFor(QStringLiteral("alertTitle"), QStringLiteral("Enable video recording")));
    snap(QStringLiteral("consent"));
    QVERIFY(answerAlert(QStringLiteral("Ok")));
    QVERIFY2(QTest::qWaitFor([&] { return m_demo->isRecording(); }, 20000), "no recording after consent");
}

void tst_Display::screenshotReportAfterPointerShake()
{
    QVERIFY2(shakeOpensChoice(true), "the pointer shake did not open the capture choice");
    snap(QStringLiteral("choice-by-pointer"));
    QVERIFY(clickOn(QStringLiteral("screenshotView")));
    QVERIFY(m_demo->waitForTop(QStringLiteral("tessivo::PhotoEditorViewController"), 30000));
    const auto canvas = settled(QStringLiteral("canvasScrollView"));
    QVERIFY(canvas);

    // A stroke in red, the reddest swatch of the markup bar.
    QVERIFY(clickOn(QStringLiteral("controlsView/ControlsView/markupButton")));
    QVERIFY(settled(QStringLiteral("markupControlsView/MarkupControlsView/backButton")));
    QImage screen = grabScreen();
    std::optional<DemoRemote::Widget> red;
    for (const auto &cell : m_demo->findAll(QStringLiteral("ColorCell"))) {
        if (cell.path.contains(QLatin1String("markupControlsView")) && isRed(screen.pixel(centreOf(cell.rect))))
            red = cell;
    }
    QVERIFY2(red, "no red swatch on the markup bar");
    QVERIFY(m_input->click(centreOf(red->rect)));
    const QRect c = canvas->rect;
    const QLineF line(c.left() + c.width() * 0.2, c.top() + c.height() * 0.35, c.left() + c.width() * 0.8,
                      c.top() + c.height() * 0.45);
    QVERIFY2(redAlong(grabScreen(), line) < 0.5, "the canvas is red before the stroke");
    QList<QPoint> path;
    for (int i = 0; i <= 16; ++i)
        path << line.pointAt(i / 16.0).toPoint();
    QVERIFY(m_input->drag(path));
    QVERIFY2(QTest::qWaitFor([&] { return redAlong(grabScreen(), line) >= 0.8; }, 5000), "the stroke is not on the canvas");
    snap(QStringLiteral("stroke"));
    QVERIFY(clickOn(QStringLiteral("markupControlsView/MarkupControlsView/backButton")));

    // A text annotation, typed on the keyboard; it is red too.
    QVERIFY(clickOn(QStringLiteral("controlsView/ControlsView/annotateButton")));
    QVERIFY(settled(QStringLiteral("annotateControlsView/AnnotateControlsView/backButton")));
    QTest::qWait(500);
    const int redBefore = countRed(grabScreen(), c);
    QVERIFY(m_input->type(QStringLiteral("Labels overlap here")));
    QVERIFY2(QTest::qWaitFor([&] { return countRed(grabScreen(), c) - redBefore > 150; }, 5000),
             "the typed text is not on the canvas");
    snap(QStringLiteral("text"));
    if (m_demo->find(QStringLiteral("keyboardToolbar/doneButton")))
        QVERIFY(clickOn(QStringLiteral("keyboardToolbar/doneButton")));
    QVERIFY(clickOn(QStringLiteral("annotateControlsView/AnnotateControlsView/backButton")));

    // The first sticker of the strip.
    QVERIFY(clickOn(QStringLiteral("controlsView/ControlsView/stickersButton")));
    QVERIFY(settled(QStringLiteral("stickersControlsView/StickersControlsView/backButton")));
    std::optional<DemoRemote::Widget> first;
    for (const auto &cell : m_demo->findAll(QStringLiteral("StickersCell"))) {
        if (!first || cell.rect.left() < first->rect.left())
            first = cell;
    }
    QVERIFY2(first, "no sticker cells");
    const QImage beforeSticker = grabScreen();
    QVERIFY(m_input->click(centreOf(first->rect)));
    QVERIFY2(QTest::qWaitFor([&] { return changedPixels(beforeSticker, grabScreen(), c) > 300; }, 5000),
             "the sticker is not on the canvas");
    // Escape leaves the tool as its Back button does.
    QVERIFY(m_input->key(QStringLiteral("Escape")));
    QVERIFY2(m_demo->waitForGone(QStringLiteral("stickersControlsView/StickersControlsView/backButton"), 5000),
             "Escape did not close the stickers bar");
    snap(QStringLiteral("canvas"));

    // The first report asks for a name.
    m_reports = m_demo->inboxItems().size();
    QVERIFY(clickOn(QStringLiteral("controlsView/ControlsView/shareButton")));
    QVERIFY(clickOn(QStringLiteral("mondayButton")));
    QVERIFY(m_demo->waitFor(QStringLiteral("alertTitle"), QStringLiteral("Add your name")));
    QVERIFY(clickOn(QStringLiteral("alertTextField")));
    QVERIFY(m_input->type(kAuthor));
    QVERIFY(answerAlert(QStringLiteral("Send")));
    sendByMonday(QStringLiteral("screenshot"));
    if (QTest::currentTestFailed())
        return;
    const auto item = m_demo->waitForNewItem(m_reports, QStringLiteral("image/"));
    QVERIFY2(item, "the screenshot report is not in the inbox");
    QVERIFY(QJsonDocument(*item).toJson().contains(kAuthor.toUtf8()));
    m_reports = m_demo->inboxItems().size();

    QVERIFY(clickOn(QStringLiteral("controlsView/ControlsView/closeButton")));
    quitEditor(QStringLiteral("Delete Screenshot"), QStringLiteral("canvasScrollView"));
}

void tst_Display::videoReportWithPanelsOverTheVideo()
{
    const auto window = m_demo->find(QStringLiteral("DemoWindow"));
    QVERIFY(window);
    // What the recording holds: the demo's window, animating.
    QTest::qWait(5000);
    const QImage scene = grabScreen().copy(window->rect);
    QVERIFY2(shakeOpensChoice(false), "Ctrl+Alt+F did not open the capture choice");
    QVERIFY(clickOn(QStringLiteral("tiles/videoView")));
    QVERIFY2(m_demo->waitForTop(QStringLiteral("tessivo::VideoEditorViewController"), 60000), "no video editor");
    const QString area = QStringLiteral("containerView/videoView");
    const auto video = settled(area);
    QVERIFY(video);

    // The video's pixels are on the screen while it plays.
    // Its first frames may still show the last editor leaving.
    const QRect frame = fitted(scene.size(), video->rect);
    double unlike = 255;
    (void)QTest::qWaitFor([&] { return (unlike = difference(grabScreen().copy(frame), scene)) < kSameScene; }, 15000);
    snap(QStringLiteral("video-playing"));
    qInfo("the video area differs from the recorded window by %.1f grey levels", unlike);
    QVERIFY2(unlike < kSameScene && blackShare(grabScreen(), frame) < 0.5, "the video is not on the screen");

    // The note panel over the playing video.
    QVERIFY(clickOn(QStringLiteral("videoControlsView/VideoControlsView/noteButton")));
    const auto note = settled(area + QStringLiteral("/NoteTextView"));
    QVERIFY2(note, "no note panel");
    QVERIFY2(looksLikeItself(*note, QStringLiteral("note-panel-over-video")), "the note panel is hidden by the video");
    const QRect above(frame.left(), frame.top(), frame.width(), note->rect.top() - frame.top());
    QVERIFY(above.height() > 0);
    const QImage sceneAbove = scene.copy(0, 0, scene.width(), scene.height() * above.height() / frame.height());
    QVERIFY2(QTest::qWaitFor([&] { return difference(grabScreen().copy(above), sceneAbove) < kSameScene; }, 5000),
             "the video is gone above the note panel");
    QVERIFY(clickOn(QStringLiteral("noteTextView")));
    QVERIFY(m_input->type(QStringLiteral("The orbit stutters in the video.")));

    // The share panel over it too.
    QVERIFY(clickOn(QStringLiteral("videoControlsView/VideoControlsView/shareButton")));
    const auto share = settled(area + QStringLiteral("/SharingMethodView"));
    QVERIFY2(share, "no share panel");
    QVERIFY2(looksLikeItself(*share, QStringLiteral("share-panel-over-video")), "the share panel is hidden by the video");
    sendByMonday(QStringLiteral("video"));
    if (QTest::currentTestFailed())
        return;
    const auto item = m_demo->waitForNewItem(m_reports, QStringLiteral("video/"));
    QVERIFY2(item, "the video report is not in the inbox");
    QVERIFY(QJsonDocument(*item).toJson().contains("The orbit stutters in the video."));
    m_reports = m_demo->inboxItems().size();

    QVERIFY(clickOn(QStringLiteral("videoControlsView/VideoControlsView/closeButton")));
    quitEditor(QStringLiteral("Delete Video"), area);
}

void tst_Display::noteReport()
{
    QVERIFY2(shakeOpensChoice(true), "the pointer shake did not open the capture choice");
    QVERIFY(clickOn(QStringLiteral("imageView")));
    QVERIFY(m_demo->waitForTop(QStringLiteral("tessivo::NoteEditorViewController"), 30000));
    QVERIFY(clickOn(QStringLiteral("noteTextView")));
    QVERIFY(m_input->type(QStringLiteral("The labels overlap in the orbit view.")));
    snap(QStringLiteral("note"));
    m_reports = m_demo->inboxItems().size();
    QVERIFY(clickOn(QStringLiteral("controlsView/VideoControlsView/shareButton")));
    sendByMonday(QStringLiteral("note"));
    if (QTest::currentTestFailed())
        return;
    const auto item = m_demo->waitForNewItem(m_reports, QString());
    QVERIFY2(item, "the note report is not in the inbox");
    QVERIFY(item->value(QStringLiteral("files")).toArray().isEmpty());
    QVERIFY(QJsonDocument(*item).toJson().contains("The labels overlap in the orbit view."));
}

// The X server comes first: the test's own application connects to it, to
// read the screen.
int main(int argc, char **argv)
{
    const QString xvfb = QStandardPaths::findExecutable(QStringLiteral("Xvfb"));
    const QString xdotool = QStandardPaths::findExecutable(QStringLiteral("xdotool"));
    QString unavailable;
    if (xvfb.isEmpty() || xdotool.isEmpty())
        unavailable = QStringLiteral("needs Xvfb and xdotool (scripts/install-deps.sh installs them)");
    XvfbServer server;
    if (unavailable.isEmpty() && server.start(xvfb, kScreen.width(), kScreen.height())) {
        qputenv("DISPLAY", server.display().toLocal8Bit());
        qputenv("QT_QPA_PLATFORM", "xcb");
    } else {
        if (unavailable.isEmpty())
            qWarning("%s", qPrintable(server.error()));
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QGuiApplication app(argc, argv);
    tst_Display test(server.display(), unavailable);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_display.moc"
