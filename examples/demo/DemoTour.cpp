#include "DemoTour.h"

#include <Tessivo/Tessivo.h>

#include "core/SelectOptionViewController.h"
#include "core/TestingNotesViewController.h"
#include "core/TopMost.h"
#include "editors/NoteEditorViewController.h"
#include "editors/VideoEditorViewController.h"
#include "metadata/NoteTextView.h"
#include "metadata/SharingMethodView.h"
#include "photo/AnnotateControlsView.h"
#include "photo/CanvasScrollView.h"
#include "photo/ControlsView.h"
#include "photo/MarkupControlsView.h"
#include "photo/StickersCell.h"
#include "photo/StickersControlsView.h"
#include "photo/StrokeLayerItem.h"
#include "platform/Toolbar.h"
#include "photo/PhotoEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/Console.h"
#include "platform/UserDefaults.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QWindow>

#include <cstdio>

using namespace tessivo;

namespace {

constexpr int kWaitMs = 20000;

template <typename T>
T *topAs()
{
    return qobject_cast<T *>(topMostViewController());
}

template <typename T>
T *waitForTop()
{
    T *found = nullptr;
    (void)QTest::qWaitFor([&] { return (found = topAs<T>()) && found->hasAppeared(); }, kWaitMs);
    return found;
}

void click(QWidget *widget)
{
    if (widget && widget->isVisible())
        QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

void drag(QWidget *window, QPoint from, QPoint to)
{
    QWindow *handle = window->windowHandle();
    QTest::mousePress(handle, Qt::LeftButton, {}, from);
    for (int i = 1; i <= 12; ++i)
        QTest::mouseMove(handle, from + (to - from) * i / 12);
    QTest::mouseRelease(handle, Qt::LeftButton, {}, to);
}

// A shake as the keyboard gives it.
void shake(QWidget *window)
{
    QTest::keyClick(window, Qt::Key_F, Qt::ControlModifier | Qt::AltModifier);
}

// Taps the alert's action with that title; returns the alert's title.
std::optional<QString> answerAlert(const QString &action)
{
    AlertController *alert = waitForTop<AlertController>();
    if (!alert)
        return std::nullopt;
    const auto title = alert->alertTitle();
    for (int i = 0; i < alert->actions().size(); ++i) {
        if (alert->actions()[i].title() == action) {
            click(alert->findChild<QPushButton *>(QStringLiteral("alertAction%1").arg(i)));
            QPointer<AlertController> gone(alert);
            (void)QTest::qWaitFor([&] { return !gone; }, kWaitMs);
            return title.value_or(QString());
        }
    }
    return std::nullopt;
}

} // namespace

DemoTour::DemoTour(QWidget *window, QObject *parent) : QObject(parent), m_window(window)
{
    m_consoleToken = addConsoleObserver([this](const QString &line) {
        static QMutex mutex;
        QMutexLocker lock(&mutex);
        m_console.append(line);
    });
}

DemoTour::~DemoTour()
{
    removeConsoleObserver(m_consoleToken);
}

bool DemoTour::step(const QString &what, bool ok)
{
    std::printf("tessivo-demo tour: %s %s\n", ok ? "ok  " : "FAIL", qPrintable(what));
    std::fflush(stdout);
    return ok;
}

bool DemoTour::firstRunAndConsent()
{
    TessivoKit::shared().applicationDidBecomeActive();
    auto *notes = waitForTop<TestingNotesViewController>();
    if (!step(QStringLiteral("the testing notes open on first run"), notes))
        return false;
    click(notes->findChild<QPushButton *>(QStringLiteral("beginTestingButton")));
    (void)QTest::qWaitFor([] { return !topAs<TestingNotesViewController>(); }, kWaitMs);

    // The video tile asks for consent the first time.
    if (!shakeAndChoose(0))
        return false;
    if (!step(QStringLiteral("consent given in the permission alert"),
              answerAlert(QStringLiteral("Ok")) == QStringLiteral("Enable video recording")))
        return false;
    return step(QStringLiteral("background recording started"),
                QTest::qWaitFor([] { return bool(TessivoKit::shared().isRecording); }, kWaitMs));
}

bool DemoTour::shakeAndChoose(int tile)
{
    shake(m_window);
    auto *choice = waitForTop<SelectOptionViewController>();
    if (!step(QStringLiteral("a shake opens the capture choice"), choice))
        return false;
    if (tile == 1 && !m_screenshotFolder.isEmpty()) {
        QTest::qWait(800); // the screen slides in
        saveScreenshots(QStringLiteral("demo-kit-open.png"));
    }
    QWidget *tiles[] = {choice->videoView(), choice->screenshotView(), choice->imageView()};
    click(tiles[tile]);
    return true;
}

// Picks the tracker on the share panel and waits for the result alert.
bool DemoTour::sendFromPanel(const QString &kind)
{
    const auto title = answerAlert(QStringLiteral("Ok"));
    return step(kind + QStringLiteral(" report sent (") + title.value_or(QStringLiteral("no answer")) + ")",
                title == QStringLiteral("Shared!"));
}

bool DemoTour::screenshotReport()
{
    if (!shakeAndChoose(1))
        return false;
    auto *editor = waitForTop<PhotoEditorViewController>();
    if (!step(QStringLiteral("the screenshot opens in the photo editor"), editor))
        return false;
    click(editor->controlsView()->markupButton());
    QTest::qWait(500);
    const QRect area = m_window->rect();
    drag(m_window, QPoint(area.width() / 5, area.height() / 4), QPoint(area.width() * 4 / 5, area.height() / 3));
    click(editor->markupControlsView()->backButton());
    // A text annotation, typed where the tool puts it.
    click(editor->controlsView()->annotateButton());
    QTest::qWait(500);
    QTest::keyClicks(editor->canvasScrollView(), QStringLiteral("Labels overlap here"));
    click(editor->toolbar()->findChild<QPushButton *>(QStringLiteral("doneButton")));
    click(editor->annotateControlsView()->backButton());
    // A lettered marker, the first entry of the sticker strip.
    click(editor->controlsView()->stickersButton());
    QTest::qWait(500);
    click(editor->stickersControlsView()->cellAt(0));
    click(editor->stickersControlsView()->backButton());
    if (!step(QStringLiteral("a stroke, a text annotation and a lettered sticker on the screenshot"),
              editor->canvasImageView()->childItems().size() >= 2))
        return false;
    click(editor->controlsView()->shareButton());
    (void)QTest::qWaitFor([&] { return editor->shareView() && editor->shareView()->isVisible(); }, kWaitMs);
    click(editor->shareView()->mondayButton());
    if (!sendFromPanel(QStringLiteral("screenshot")))
        return false;
    // Done with it: quit without saving.
    click(editor->controlsView()->closeButton());
    answerAlert(QStringLiteral("Delete Screenshot"));
    return step(QStringLiteral("the photo editor closed"),
                QTest::qWaitFor([] { return !TessivoKit::shared().navigationAlreadyStarted; }, kWaitMs));
}

bool DemoTour::videoReport()
{
    QTest::qWait(3000); // something to record
    if (!shakeAndChoose(0))
        return false;
    auto *editor = waitForTop<VideoEditorViewController>();
    if (!step(QStringLiteral("the last seconds open in the video editor"), editor))
        return false;
    click(editor->videoControlsView()->shareButton());
    (void)QTest::qWaitFor([&] { return editor->shareView() && editor->shareView()->isVisible(); }, kWaitMs);
    click(editor->shareView()->mondayButton());
    if (!sendFromPanel(QStringLiteral("video")))
        return false;
    click(editor->videoControlsView()->closeButton());
    answerAlert(QStringLiteral("Delete Video"));
    return step(QStringLiteral("the video editor closed"),
                QTest::qWaitFor([] { return !TessivoKit::shared().navigationAlreadyStarted; }, kWaitMs));
}

bool DemoTour::noteReport()
{
    if (!shakeAndChoose(2))
        return false;
    auto *editor = waitForTop<NoteEditorViewController>();
    if (!step(QStringLiteral("the note editor opens"), editor))
        return false;
    (void)QTest::qWaitFor([&] { return editor->noteView() && editor->noteView()->isVisible(); }, kWaitMs);
    QTest::keyClicks(editor->noteView()->noteTextView(), QStringLiteral("The orbit labels overlap."));
    click(editor->controlsView()->shareButton());
    (void)QTest::qWaitFor([&] { return editor->shareView() && editor->shareView()->isVisible(); }, kWaitMs);
    click(editor->shareView()->mondayButton());
    return sendFromPanel(QStringLiteral("note"));
}

void DemoTour::saveScreenshots(const QString &name)
{
    if (m_screenshotFolder.isEmpty())
        return;
    QDir().mkpath(m_screenshotFolder);
    m_window->grab().save(QDir(m_screenshotFolder).filePath(name));
}

void DemoTour::saveInboxScreenshot()
{
    if (m_screenshotFolder.isEmpty() || m_relayUrl.isEmpty())
        return;
    const QString chromium = QStandardPaths::findExecutable(QStringLiteral("chromium"));
    if (chromium.isEmpty())
        return;
    QTemporaryDir profile;
    QProcess browser;
    browser.start(chromium, {QStringLiteral("--headless"), QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"),
                             QStringLiteral("--disable-background-networking"), QStringLiteral("--disable-component-update"),
                             QStringLiteral("--disable-sync"), QStringLiteral("--no-first-run"),
                             QStringLiteral("--user-data-dir=") + profile.path(), QStringLiteral("--window-size=1100,1400"),
                             QStringLiteral("--screenshot=") + QDir(m_screenshotFolder).filePath(QStringLiteral("inbox.png")),
                             m_relayUrl + QStringLiteral("/inbox?token=") + m_adminToken});
    // The browser is waited for while the relay keeps answering it.
    (void)QTest::qWaitFor([&] { return browser.state() == QProcess::NotRunning; }, 60000);
}

// Uploads to a relay are only logged by the client: counts the logged
// successes of the screenshot and the video.
bool DemoTour::waitForUploads()
{
    const auto uploads = [this] {
        int n = 0;
        for (const QString &line : std::as_const(m_console))
            n += (line.startsWith(QStringLiteral("Optional(")) && line.contains(QStringLiteral("status: 200")))
                || line.startsWith(QStringLiteral("Uploaded to: "));
        return n;
    };
    return step(QStringLiteral("the screenshot and the video were uploaded"),
                QTest::qWaitFor([&] { return uploads() >= 2; }, 30000));
}

// The items the relay's inbox got since the tour began, newest first.
QJsonArray DemoTour::inboxItemsSinceStart()
{
    QNetworkAccessManager network;
    QNetworkRequest request(QUrl(m_relayUrl + QStringLiteral("/inbox/items")));
    request.setRawHeader("Authorization", "Bearer " + m_adminToken.toUtf8());
    request.setTransferTimeout(10000);
    QNetworkReply *reply = network.get(request);
    (void)QTest::qWaitFor([reply] { return reply->isFinished(); }, 15000);
    const QJsonArray all = QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("items")).toArray();
    reply->deleteLater();
    QJsonArray recent;
    for (const QJsonValue &item : all) {
        const QDateTime created = QDateTime::fromString(item[QStringLiteral("createdAt")].toString(), Qt::ISODateWithMs);
        if (created >= m_startedAt)
            recent.append(item);
    }
    return recent;
}

// Waits until the inbox holds the three reports (a PNG, a movie and a note
// without a file), then lists them.
bool DemoTour::listInboxItems()
{
    QJsonArray items;
    const auto landed = [&] {
        items = inboxItemsSinceStart();
        int images = 0, movies = 0, notes = 0;
        for (const QJsonValue &item : std::as_const(items)) {
            const QJsonArray files = item[QStringLiteral("files")].toArray();
            const QString type = files.isEmpty() ? QString() : files.first()[QStringLiteral("mimeType")].toString();
            images += type.startsWith(QStringLiteral("image/"));
            movies += type.startsWith(QStringLiteral("video/"));
            notes += files.isEmpty();
        }
        return images >= 1 && movies >= 1 && notes >= 1;
    };
    const bool ok = step(QStringLiteral("the inbox holds the screenshot, the video and the note"),
                         QTest::qWaitFor(landed, 30000));
    for (qsizetype i = items.size() - 1; i >= 0; --i) { // in the order they were sent
        const QJsonValue item = items.at(i);
        const QJsonArray files = item[QStringLiteral("files")].toArray();
        const QString type = files.isEmpty() ? QString() : files.first()[QStringLiteral("mimeType")].toString();
        const QString kind = files.isEmpty()                             ? QStringLiteral("note")
                             : type.startsWith(QStringLiteral("image/")) ? QStringLiteral("screenshot")
                                                                         : QStringLiteral("video");
        std::printf("tessivo-demo tour: %s report: inbox item %s \"%s\"\n", qPrintable(kind),
                    qPrintable(item[QStringLiteral("id")].toString()),
                    qPrintable(item[QStringLiteral("name")].toString().section(QLatin1Char('\n'), 0, 0)));
        for (const QJsonValue &file : files)
            std::printf("tessivo-demo tour:     %s, %s, %lld bytes: %s%s\n",
                        qPrintable(file[QStringLiteral("fileName")].toString()),
                        qPrintable(file[QStringLiteral("mimeType")].toString()),
                        static_cast<long long>(file[QStringLiteral("size")].toDouble()), qPrintable(m_relayUrl),
                        qPrintable(file[QStringLiteral("url")].toString()));
    }
    std::fflush(stdout);
    return ok;
}

int DemoTour::run()
{
    // A fresh tester on this machine, with a name so that no prompt stops the tour.
    UserDefaults &defaults = UserDefaults::standard();
    for (const char *key : {"userAllowedRecordingKey", "helperAlreadyPresented", "anonymousAuthor"})
        defaults.removeObject(QString::fromLatin1(key));
    defaults.setString(QStringLiteral("Tour"), QStringLiteral("noteAuthor"));
    // The inbox also keeps the reports of earlier runs.
    m_startedAt = QDateTime::currentDateTimeUtc();

    const bool ok = firstRunAndConsent() && screenshotReport() && videoReport() && noteReport();
    const bool landed = ok && waitForUploads() && (m_relayUrl.isEmpty() || listInboxItems());
    if (landed)
        saveInboxScreenshot();
    std::printf("tessivo-demo tour: %s\n", landed ? "every report landed" : "the tour did not finish");
    return landed ? 0 : 1;
}
