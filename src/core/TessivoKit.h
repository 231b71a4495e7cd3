// The kit's one object: configuration, session state and entry points.
#pragma once

#include "core/Configs.h"
#include "core/ShareMethod.h"
#include "platform/GestureRecognizer.h"
#include "platform/MediaError.h"
#include "platform/SwipeGestureRecognizer.h"
#include "tessivo_export.h"

#include <QMutex>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QString>

#include <atomic>
#include <memory>
#include <optional>

namespace tessivo {

class CaptureMananger;

class TESSIVO_EXPORT TessivoKit : public QObject, public GestureRecognizerDelegate
{
    Q_OBJECT
public:
    enum class FeedbackGesture { shake, fourFingers };

    /// The process-wide instance, made on first use.
    static TessivoKit &shared();

    /// Configures the kit; call once at launch (again to reconfigure).
    void initialize(FeedbackGesture feedbackGesture, const QString &testingNotes, bool hasWebGL,
                    std::shared_ptr<const Configs> options = nullptr);
    /// Convenience for hosts that pass Trello options by value.
    void initialize(FeedbackGesture feedbackGesture, const QString &testingNotes, bool hasWebGL,
                    const TrelloConfigs &options);

    /// Opens a feedback session as the trigger gesture would.
    void startFeedback();
    /// The host forwards its own activation here.
    void applicationDidBecomeActive();

    /// Keeps `view` (a QWidget with its children, a whole window, or a
    /// QQuickItem) out of screenshots and recordings, or lets it back in.
    /// The same as setting its `tessivoPrivate` property.
    static void setPrivate(QObject *view, bool isPrivate);

    /// The four-finger swipe never blocks the host's own gestures.
    bool shouldRecognizeSimultaneously(GestureRecognizer *recognizer,
                                       GestureRecognizer *other) override;

    /// Starts the background recording when the tester allowed it and none
    /// runs (also after a session's screens close).
    void startRecordingProcedure();
    /// Stops a running recording; the capture manager finishes its files.
    void stopProcedure();

    /// Asks the tester to allow recording ("Enable video recording").
    void presentPermissionAlert();
    /// Says that the recording holds nothing yet.
    void presentNoActivityAlert();

    /// Observers of the application's background and foreground.
    void appMovedToBackground();
    void appMovedToForeground();

    /// The action of the four-finger recogniser.
    Q_INVOKABLE void swipeGesture(tessivo::GestureRecognizer *gesture);

    // Session state ---------------------------------------------------------
    /// Written by the recorder's stop handler on its own thread.
    std::atomic<bool> isRecording{false};
    CaptureMananger *captureManager() const { return m_captureManager; }
    QPointF initialIndicatorPosition;
    SwipeGestureRecognizer *fourFingersGesture() const { return m_fourFingersGesture.data(); }
    bool isFirstInit = true;
    bool itWasRecording = false;
    bool navigationAlreadyStarted = false;
    FeedbackGesture feedbackGesture = FeedbackGesture::shake;
    std::shared_ptr<const Configs> optionalConfigs;
    ShareMethod shareMethod = ShareMethod::shareSheet;
    QString testingNotes;
    bool useRecordingForScreenshot = false;

    /// The monday product id, filled by the lookup that initialize starts
    /// (on the network thread, hence the lock).
    std::optional<QString> productId() const;
    void setProductId(std::optional<QString> productId);

private:
    TessivoKit();
    ~TessivoKit() override;
    void installFourFingersGesture();
    void addFourFingersGesture(QWidget *keyWindow);
    void installOnNextKeyWindow();
    void runTriggerProcedure();
    void openProcedure();
    void startCapture();
    void captureStarted(std::optional<MediaError> error);

    CaptureMananger *m_captureManager = nullptr;
    QPointer<SwipeGestureRecognizer> m_fourFingersGesture;
    /// Armed while the four-finger recogniser waits for a key window.
    QMetaObject::Connection m_keyWindowWatch;
    mutable QMutex m_productIdMutex;
    std::optional<QString> m_productId;
};

} // namespace tessivo
