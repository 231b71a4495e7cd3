// Records the host's own key window: after each repaint of that window the
// pixels it has just repainted are copied (damage driven: no repaint, no
// frame; only what changed is copied), stamped on the monotonic clock and
// converted on the recorder thread into a YUV picture of the window kept
// between frames, which goes as a video sample buffer to the sample
// handler. Frames are at least one movie-clock tick apart (or further, with
// a lower frame-rate cap): a repaint sooner than that is taken once the
// interval has passed, together with any repaint in between.
#pragma once

#include "platform/FramePool.h"
#include "platform/MediaError.h"
#include "platform/MovieClock.h"
#include "platform/RepaintTracker.h"
#include "platform/SampleBuffer.h"
#include "platform/YuvCanvas.h"
#include "tessivo_export.h"

#include <QMutex>
#include <QObject>
#include <QRegion>
#include <QPointer>
#include <QRecursiveMutex>
#include <QSize>
#include <QThread>
#include <QWidget>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace tessivo {

class TESSIVO_EXPORT ScreenRecorder : public QObject
{
    Q_OBJECT
public:
    /// Runs on the recorder thread, once per sample, in order.
    using SampleHandler =
        std::function<void(const SampleBuffer &, SampleBufferType, std::optional<MediaError>)>;
    /// Start and stop completions; run on the recorder thread.
    using Completion = std::function<void(std::optional<MediaError>)>;

    /// The recorder's error codes (domain errorDomain()).
    enum class ErrorCode : int {
        unknown = -5800,
        userDeclined = -5801,
        disabled = -5802,
        failedToStart = -5803, // among others: there is no window to record
        failed = -5804,
        insufficientStorage = -5805,
        interrupted = -5806,
        contentResize = -5807,
    };

    /// The process's recorder, made on first use.
    static ScreenRecorder &shared();
    explicit ScreenRecorder(QObject *parent = nullptr);
    ~ScreenRecorder() override;

    /// Starts capturing the key window. Callable from any thread. Fails with
    /// failedToStart when there is no key window or a capture is running.
    void startCapture(SampleHandler handler, Completion completion);
    /// Stops at once: no sample reaches the old handler after this call
    /// returns (unless it is running right now, on the recorder thread).
    /// `handler` then runs on the recorder thread. Callable from any thread,
    /// including from inside the sample handler.
    void stopCapture(Completion handler);

    bool isRecording() const { return m_recording; }
    /// The most frames a second the recorder takes (30 by default, which
    /// is also the most: the movie clock has 30 ticks a second). A host may
    /// lower it to spend less on fast-repainting windows. GUI thread.
    void setMaximumFrameRate(int framesPerSecond);
    int maximumFrameRate() const { return m_maximumFrameRate; }
    /// Kept for hosts that ask; the recorder never captures sound.
    bool isMicrophoneEnabled() const { return m_microphoneEnabled; }
    void setMicrophoneEnabled(bool enabled) { m_microphoneEnabled = enabled; }

    /// A window's size × its device pixel ratio, rounded down to even.
    static QSize pixelSize(const QWidget *window);
    /// The key window's pixel size: measured when called on the GUI thread,
    /// otherwise the last one measured (empty before any).
    QSize keyWindowPixelSize() const;

    struct Statistics {
        quint64 framesCaptured = 0;
        /// Repaints not captured because the recorder thread was behind.
        quint64 framesDropped = 0;
        /// Pixels copied from the window (the repainted areas only).
        quint64 pixelsCopied = 0;
        /// GUI-thread CPU time spent taking frames, and the wall time it
        /// took (longer when other threads or processes hold the CPU).
        qint64 guiCpuNanoseconds = 0;
        qint64 guiWallNanoseconds = 0;
    };
    Statistics statistics() const;

    static QString errorDomain();
    /// The description of failedToStart when there is no key window.
    static QString noWindowDescription();
    static MediaError makeError(ErrorCode code, const QString &description = QString());

    // Test hooks ------------------------------------------------------------
    /// Every start fails with `code` until cleared with nullopt; failedToStart
    /// gives the same error as a start without a key window.
    void setStartFailureForTesting(std::optional<ErrorCode> code);
    /// Delivers `sample` through the recorder thread to the running capture.
    void deliverSampleForTesting(const SampleBuffer &sample, SampleBufferType type);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void startOnGuiThread(SampleHandler handler, Completion completion);
    void attach(QWidget *window);
    void detach();
    void followKeyWindow();
    void grabFrame();
    /// The pixels of the window inside `area` (window device pixels), as
    /// painted last; all of the frame for windows rendered for each frame.
    FramePatch copyFrame(const QRegion &area, QSize frameSize);
    void post(std::function<void()> work);
    void deliver(quint64 generation, const SampleBuffer &sample, SampleBufferType type);

    static constexpr int kMaxFramesInFlight = 3;
    /// The shortest time between two frames of one capture.
    static constexpr MediaTime kMinimumFrameInterval{1, MovieClock::kTicksPerSecond};
    /// The time between frames at the frame-rate cap.
    MediaTime frameInterval() const { return {1, m_maximumFrameRate}; }

    QThread m_thread;
    QObject *m_recorderContext = nullptr; // lives on m_thread

    QRecursiveMutex m_deliveryMutex; // held while the handler runs
    std::shared_ptr<SampleHandler> m_handler;
    MediaTime m_lastDelivered; // of the current generation's video
    quint64 m_lastDeliveredGeneration = 0;
    std::atomic<quint64> m_generation{0};
    std::atomic<bool> m_recording{false};
    std::atomic<bool> m_microphoneEnabled{false};
    std::atomic<int> m_framesInFlight{0};

    // GUI thread only.
    QPointer<QWidget> m_window;
    RepaintTracker *m_repaints = nullptr; // child
    QRegion m_lastPrivateArea;            // the private areas filled in the last frame
    bool m_grabScheduled = false;
    MediaTime m_lastGrab;
    bool m_renderEachFrame = false;
    int m_maximumFrameRate = MovieClock::kTicksPerSecond;
    FramePool m_pool{2}; // more patches in flight get buffers of their own

    YuvCanvas m_canvas; // recorder thread only
    std::optional<ErrorCode> m_startFailure;

    mutable QMutex m_statsMutex;
    Statistics m_stats;
    mutable QSize m_keyWindowPixelSize;
};

} // namespace tessivo
