// The session flow with the real recorder: consent, activation, triggers,
// background and foreground, and capture start failures.
#include "capture/CaptureMananger.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TestingNotesViewController.h"
#include "core/TopMost.h"
#include "platform/AlertController.h"
#include "platform/Application.h"
#include "platform/ScreenRecorder.h"
#include "platform/UserDefaults.h"
#include "AnimatedWindow.h"
#include "TestSupport.h"

#include <QApplication>
#include <QFileInfo>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tessivo;

namespace {


TessivoKit &kit()
{
    return TessivoKit::shared();
}

bool allowed()
{
    return UserDefaults::standard().boolForKey("userAllowedRecordingKey");
}

void stopAndWait()
{
    if (kit().isRecording)
        kit().stopProcedure();
    QTRY_VERIFY(!kit().isRecording);
    QTRY_VERIFY(!ScreenRecorder::shared().isRecording());
}

} // namespace

class SessionFlowTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<test::AnimatedWindow> m_host;

private Q_SLOTS:
    void initTestCase()
    {
        m_host = std::make_unique<test::AnimatedWindow>(16);
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
        QApplication::setActiveWindow(m_host.get());
    }

    void cleanup()
    {
        ScreenRecorder::shared().setStartFailureForTesting(std::nullopt);
        stopAndWait();
        if (ViewController *root = ViewController::rootOf(m_host.get()); root->presentedViewController()) {
            bool gone = false;
            root->dismiss(false, [&] { gone = true; });
            QTRY_VERIFY(gone);
        }
        kit().navigationAlreadyStarted = false;
    }

    void theFirstActivationShowsTheNotesOnceAndRecordsNothingBeforeConsent()
    {
        QVERIFY(kit().isFirstInit);
        kit().testingNotes = "Welcome";
        kit().applicationDidBecomeActive();
        QVERIFY(!kit().isFirstInit);
        QVERIFY(UserDefaults::standard().boolForKey("helperAlreadyPresented"));
        QVERIFY(UserDefaults::standard().contains("userAllowedRecordingKey"));
        QVERIFY(!allowed());
        QTRY_VERIFY(qobject_cast<TestingNotesViewController *>(topMostViewController()));
        QTest::qWait(200);
        QVERIFY(!kit().isRecording);
        QVERIFY(!ScreenRecorder::shared().isRecording());

        // Later activations never show the notes again, and without consent
        // they do not record.
        qobject_cast<TestingNotesViewController *>(topMostViewController())->beginTesting();
        QTRY_VERIFY(!ViewController::rootOf(m_host.get())->presentedViewController());
        QCOMPARE(topMostViewController(), ViewController::rootOf(m_host.get()));
        kit().applicationDidBecomeActive();
        QTest::qWait(200);
        QCOMPARE(topMostViewController(), ViewController::rootOf(m_host.get()));
        QVERIFY(!kit().isRecording);
    }

    void consentStartsRecordingAndTriggersStopIt()
    {
        kit().presentPermissionAlert();
        auto *alert = qobject_cast<AlertController *>(topMostViewController());
        QVERIFY(alert);
        QCOMPARE(alert->alertTitle(), std::optional<QString>("Enable video recording"));
        QCOMPARE(alert->message(), std::optional<QString>("To enable video feedback, allow Tessivo to record your screen."));
        QCOMPARE(alert->actions().size(), 2);
        QCOMPARE(alert->actions()[1].style(), AlertActionStyle::cancel);
        test::ConsoleCapture console;
        alert->tapAction(0);
        QTRY_VERIFY(kit().isRecording);
        QVERIFY(allowed());
        QVERIFY(console.contains("Screen capture started successfully"));

        // A second activation while recording does nothing.
        console.clear();
        kit().applicationDidBecomeActive();
        QTest::qWait(100);
        QVERIFY(!console.contains("Screen capture started successfully"));

        // A trigger stops the recording and opens the capture choice.
        kit().startFeedback();
        QTRY_VERIFY(!kit().isRecording);
        QVERIFY(kit().navigationAlreadyStarted);
        QTRY_VERIFY(qobject_cast<SelectOptionViewController *>(topMostViewController()));
        QTRY_VERIFY(QFileInfo::exists(kit().captureManager()->recordingFileURL().toLocalFile()));
    }

    void aTriggerWhileTheScreensAreUpOnlyStopsRecording()
    {
        kit().startRecordingProcedure();
        QTRY_VERIFY(kit().isRecording);
        kit().navigationAlreadyStarted = true;
        ViewController *before = topMostViewController();
        kit().startFeedback();
        QTRY_VERIFY(!kit().isRecording);
        QTest::qWait(100);
        QCOMPARE(topMostViewController(), before);
    }

    void backgroundStopsAndForegroundRestartsWithAFreshFile()
    {
        kit().startRecordingProcedure();
        QTRY_VERIFY(kit().isRecording);
        const QString recorded = kit().captureManager()->recordedFileURL().toLocalFile();
        QFile stale(recorded);
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.write("old segment");
        stale.close();

        Q_EMIT Application::shared().didEnterBackground();
        QVERIFY(kit().itWasRecording);
        QTRY_VERIFY(!kit().isRecording);
        Q_EMIT Application::shared().willEnterForeground();
        QVERIFY(!kit().itWasRecording);
        QVERIFY(!QFileInfo::exists(recorded));
        QTRY_VERIFY(kit().isRecording);
    }

    void startFailuresPrintTheirLines_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("consentKept");
        const QString declined = ScreenRecorder::makeError(ScreenRecorder::ErrorCode::userDeclined).localizedDescription;
        const QString resize = ScreenRecorder::makeError(ScreenRecorder::ErrorCode::contentResize).localizedDescription;
        const QString failed = ScreenRecorder::makeError(ScreenRecorder::ErrorCode::failed).localizedDescription;
        QTest::newRow("declined") << int(ScreenRecorder::ErrorCode::userDeclined)
                                  << "Tessivo: " + declined + "." << false;
        QTest::newRow("-5807") << int(ScreenRecorder::ErrorCode::contentResize)
                               << "Tessivo: An error occurred during screen recording. " + resize
                                      + ". Please reboot your device and try again."
                               << true;
        QTest::newRow("other") << int(ScreenRecorder::ErrorCode::failed)
                               << "Tessivo: An error occurred during screen recording. " + failed + "." << true;
    }

    void startFailuresPrintTheirLines()
    {
        QFETCH(int, code);
        QFETCH(QString, line);
        QFETCH(bool, consentKept);
        UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
        ScreenRecorder::shared().setStartFailureForTesting(static_cast<ScreenRecorder::ErrorCode>(code));
        kit().navigationAlreadyStarted = true;
        test::ConsoleCapture console;
        kit().startRecordingProcedure();
        QTRY_VERIFY(console.lines().contains(line));
        QVERIFY(!kit().navigationAlreadyStarted);
        QVERIFY(!kit().isRecording);
        QCOMPARE(allowed(), consentKept);
    }

    void theNoActivityAlertRestartsRecording()
    {
        UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
        kit().presentNoActivityAlert();
        auto *alert = qobject_cast<AlertController *>(topMostViewController());
        QVERIFY(alert);
        QCOMPARE(alert->message(),
                 std::optional<QString>("There has been no activity to record since enabling recording screen."));
        alert->tapAction(0);
        QTRY_VERIFY(kit().isRecording);
    }
};

int main(int argc, char **argv)
{
    QTemporaryDir data;
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    QApplication app(argc, argv);
    QApplication::setApplicationName("SessionFlowHost");
    QApplication::setApplicationVersion("1.0");
    SessionFlowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_session_flow.moc"
