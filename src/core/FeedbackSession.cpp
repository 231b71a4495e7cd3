// The session flow: triggers, opening the kit's screens, activation,
// background recording and its alerts.
#include "core/TessivoKit.h"

#include "capture/CaptureMananger.h"
#include "core/KitAlerts.h"
#include "core/TopMost.h"
#include "platform/AlertController.h"
#include "platform/Application.h"
#include "platform/Console.h"
#include "platform/Dispatch.h"
#include "platform/ScreenRecorder.h"
#include "platform/Storyboard.h"
#include "platform/UserDefaults.h"
#include "platform/ViewController.h"

namespace tessivo {
namespace {

const QString kAllowedKey = QStringLiteral("userAllowedRecordingKey");
const QString kHelperKey = QStringLiteral("helperAlreadyPresented");

bool recordingAllowed()
{
    return UserDefaults::standard().boolForKey(kAllowedKey);
}

void presentFullScreen(const QString &identifier, ViewController *presenter)
{
    if (!presenter)
        return;
    ViewController *screen = Storyboard::named(QStringLiteral("Main")).instantiateViewController(identifier);
    screen->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    presenter->setDefinesPresentationContext(true);
    presenter->present(screen, true);
}

} // namespace

void TessivoKit::startFeedback()
{
    runTriggerProcedure();
}

void TessivoKit::swipeGesture(GestureRecognizer *)
{
    runTriggerProcedure();
}

void TessivoKit::runTriggerProcedure()
{
    if (isRecording)
        stopProcedure();
    if (!navigationAlreadyStarted)
        openProcedure();
}

void TessivoKit::openProcedure()
{
    ViewController *top = topMostViewController();
    if (top && top->inherits("tessivo::TestingNotesViewController")) {
        // The testing notes give way to the capture choice, presented from
        // whatever is on top once they are gone.
        top->dismiss(false, [] {
            presentFullScreen(QStringLiteral("initialNavController"), topMostViewController());
        });
    } else {
        presentFullScreen(QStringLiteral("initialNavController"), top);
    }
    // Set even when there was no presenter; the screens clear it on close.
    navigationAlreadyStarted = true;
}

void TessivoKit::stopProcedure()
{
    ScreenRecorder *recorder = m_captureManager->recorder();
    recorder->stopCapture(m_captureManager->stopHandler([this](std::optional<MediaError> error) {
        isRecording = false;
        if (error)
            consolePrint(QStringLiteral("Capture stopped with error: ") + error->localizedDescription);
    }));
}

void TessivoKit::applicationDidBecomeActive()
{
    if (navigationAlreadyStarted)
        return;
    if (isFirstInit) {
        isFirstInit = false;
        connect(&Application::shared(), &Application::didEnterBackground, this,
                &TessivoKit::appMovedToBackground);
        connect(&Application::shared(), &Application::willEnterForeground, this,
                &TessivoKit::appMovedToForeground);
        UserDefaults &defaults = UserDefaults::standard();
        if (!defaults.boolForKey(kHelperKey)) {
            presentFullScreen(QStringLiteral("testingNotesNavController"), topMostViewController());
            defaults.setBool(true, kHelperKey);
        }
        if (!defaults.boolForKey(kAllowedKey)) {
            defaults.setBool(false, kAllowedKey);
            m_captureManager->deleteAllFiles();
            return;
        }
        startRecordingProcedure();
        return;
    }
    if (isRecording)
        return;
    if (recordingAllowed())
        startRecordingProcedure();
}

void TessivoKit::startRecordingProcedure()
{
    if (isRecording || !recordingAllowed())
        return;
    m_captureManager->deleteFile(m_captureManager->recordedFileURL());
    startCapture();
}

void TessivoKit::startCapture()
{
    m_captureManager->startCapture([this](std::optional<MediaError> error) { captureStarted(error); });
}

void TessivoKit::captureStarted(std::optional<MediaError> error)
{
    if (!error) {
        UserDefaults::standard().setBool(true, kAllowedKey);
        isRecording = true;
        return;
    }
    const QString description = error->localizedDescription;
    if (error->code == static_cast<int>(ScreenRecorder::ErrorCode::contentResize)) {
        consolePrint(QStringLiteral("Tessivo: An error occurred during screen recording. ") + description
                     + QStringLiteral(". Please reboot your device and try again."));
    } else if (error->code == static_cast<int>(ScreenRecorder::ErrorCode::userDeclined)) {
        consolePrint(QStringLiteral("Tessivo: ") + description + QStringLiteral("."));
        UserDefaults::standard().setBool(false, kAllowedKey);
    } else {
        consolePrint(QStringLiteral("Tessivo: An error occurred during screen recording. ") + description
                     + QStringLiteral("."));
    }
    navigationAlreadyStarted = false;
    stopProcedure();
}

void TessivoKit::appMovedToBackground()
{
    if (isRecording) {
        itWasRecording = true;
        stopProcedure();
    }
}

void TessivoKit::appMovedToForeground()
{
    if (!itWasRecording)
        return;
    itWasRecording = false;
    if (!isRecording && recordingAllowed()) {
        m_captureManager->deleteFile(m_captureManager->recordedFileURL());
        startCapture();
    }
}

void TessivoKit::presentPermissionAlert()
{
    auto *alert = new AlertController(QStringLiteral("Enable video recording"),
                                      QStringLiteral("To enable video feedback, allow Tessivo to record your screen."),
                                      AlertControllerStyle::alert);
    alert->addAction(AlertAction(QStringLiteral("Ok"), AlertActionStyle::default_, [](const AlertAction &) {
        UserDefaults::standard().setBool(true, kAllowedKey);
        TessivoKit::shared().startRecordingProcedure();
    }));
    alert->addAction(AlertAction(QStringLiteral("Cancel"), AlertActionStyle::cancel));
    presentKitAlert(alert);
}

void TessivoKit::presentNoActivityAlert()
{
    auto *alert = new AlertController(QString(),
                                      QStringLiteral("There has been no activity to record since enabling recording screen."),
                                      AlertControllerStyle::alert);
    alert->addAction(AlertAction(QStringLiteral("Ok"), AlertActionStyle::default_, [](const AlertAction &) {
        TessivoKit::shared().startRecordingProcedure();
    }));
    presentKitAlert(alert);
}

} // namespace tessivo
