// Background screen recording in rolling segments: the recorder's video
// frames go to "recordingVideo"; every 600 frames that segment is finished,
// copied to "recordedVideo" and a new one begins. Also owns the five capture
// file locations.
#pragma once

#include "platform/AssetWriter.h"
#include "platform/AssetWriterInput.h"
#include "platform/MediaAsset.h"
#include "platform/MediaError.h"
#include "platform/ScreenRecorder.h"
#include "tessivo_export.h"

#include <QImage>
#include <QMutex>
#include <QObject>
#include <QUrl>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace tessivo {

class VideoMetadataView;

class TESSIVO_EXPORT CaptureMananger : public QObject
{
    Q_OBJECT
public:
    using Completion = std::function<void(std::optional<MediaError>)>;

    /// Video frames per segment; the last one of a segment is never written.
    static constexpr int kFramesPerSegment = 600;

    /// Records with the process's shared recorder.
    explicit CaptureMananger(QObject *parent = nullptr);
    /// Records with `recorder`, which must outlive this manager.
    explicit CaptureMananger(ScreenRecorder *recorder, QObject *parent = nullptr);
    ~CaptureMananger() override;

    // Fields ---------------------------------------------------------------
    /// The writer of the current segment and its input (any thread).
    std::shared_ptr<AssetWriter> assetWriter() const;
    std::shared_ptr<AssetWriterInput> assetWriterInput() const;
    ScreenRecorder *recorder() const { return m_recorder; }
    const QUrl &recordedFileURL() const { return m_recordedFileURL; }
    const QUrl &recordingFileURL() const { return m_recordingFileURL; }
    const QUrl &metadataFileURL() const { return m_metadataFileURL; }
    const QUrl &metadataMergedFileURL() const { return m_metadataMergedFileURL; }
    const QUrl &finalFileURL() const { return m_finalFileURL; }
    /// Seconds of recording kept for a video feedback.
    float finalVideoDuration = 10.0f;

    // Operations -------------------------------------------------------------
    /// Starts a capture into a new writer for recordingFileURL. `completion`
    /// runs on the GUI thread with the recorder's error, or none after
    /// "Screen capture started successfully" was printed.
    void startCapture(Completion completion);
    /// The finishing step of a stop: when the writer is still writing, the
    /// input is marked finished and the writer finishes ("Recording
    /// stopped"); recordingWritten follows once the file is complete.
    /// Any thread.
    void finishRecording();
    /// A handler for recorder()->stopCapture that runs finishRecording and
    /// then `then` (both on the recorder thread).
    ScreenRecorder::Completion stopHandler(ScreenRecorder::Completion then = {});
    /// Removes the capture file at `url` if there is one.
    void deleteFile(const QUrl &url);
    /// Removes all five capture files, recordedFileURL to finalFileURL.
    void deleteAllFiles();

    // Video report ------------------------------------------------------------
    // Completions run on the GUI thread. Inputs that cannot be used print one
    // console line and end the operation: the completion is then never
    // called, the optional `failure` callback is. An export that fails
    // prints "Export failed: " and its error, and the completion still
    // receives the output URL (where no file then is).
    using URLCompletion = std::function<void(const QUrl &url)>;
    using ImageCompletion = std::function<void(const std::optional<QImage> &image)>;
    using Failure = std::function<void(const tessivo::MediaError &error)>;

    /// Joins `first` and `second` end to end, and with `withMetadata` the
    /// first once more after them (card, video, card), into
    /// metadataMergedFileURL, else into finalFileURL. Without metadata and
    /// with `maxDuration` (seconds) shorter than the whole, only the last
    /// maxDuration seconds are kept. Packets are copied, not re-encoded.
    /// An input that cannot be read prints "Failed to load first track" or
    /// "Failed to load second track".
    void mergeVideos(const QUrl &first, const QUrl &second, bool withMetadata,
                     std::optional<float> maxDuration, URLCompletion completion,
                     Failure failure = {});
    /// Cuts `asset` to its last `seconds` into finalFileURL (MPEG-4 data).
    /// An asset not longer than that is not cut: the completion receives
    /// recordingFileURL.
    void cutToLastSeconds(const MediaAsset &asset, float seconds, URLCompletion completion,
                          Failure failure = {});
    /// The same, opening the video editor on the result.
    void cutToLastSeconds(const MediaAsset &asset, float seconds);
    /// Renders `view`'s card at the size of `video`, the movie the video
    /// editor was opened on (finalFileURL or recordingFileURL), writes it as
    /// a one-second clip to metadataFileURL ("Metadata video saved") and
    /// merges card, video, card into metadataMergedFileURL, which the
    /// completion receives.
    void makeMetadataVideo(VideoMetadataView *view, const QUrl &video, URLCompletion completion,
                           Failure failure = {});
    /// The same with a ready card image, fitted into the video's frame.
    void makeMetadataVideo(const QImage &card, const QUrl &video, URLCompletion completion,
                           Failure failure = {});
    /// The last frame of recordingFileURL. A recording of zero length clears
    /// the session and shows the no-activity alert; an unreadable one gives
    /// no image.
    void stillFrame(ImageCompletion completion);

    /// The video option: the last finalVideoDuration seconds of recording,
    /// opened in the video editor ("videoEditor", through its "videoFileURL"
    /// property), or the permission or no-activity alert. An earlier
    /// report's finalFileURL is deleted first.
    void produceVideoFeedback();
    /// The screenshot option with recording as the source: the recording's
    /// last frame, opened in the photo editor ("photoEditor", through its
    /// "image" property), or the same alerts as the video option.
    void produceScreenshotFromRecording();

    struct Statistics {
        quint64 framesAppended = 0;
        /// Video frames dropped because the writer was not ready.
        quint64 framesDropped = 0;
        quint64 segmentsCompleted = 0;
    };
    Statistics statistics() const;

Q_SIGNALS:
    /// A stopped recording's file is complete at recordingFileURL.
    void recordingWritten();
    /// A full segment was copied to recordedFileURL; the next capture is
    /// being started.
    void segmentRotated();
    /// Recording stopped by itself (the writer failed, or the capture after
    /// a rotation could not start). The kit is no longer recording.
    void captureInterrupted(const tessivo::MediaError &error);

private:
    /// Lets callbacks on other threads reach the manager only while it lives:
    /// the destructor clears `owner` under the lock.
    struct Guard {
        QMutex mutex;
        CaptureMananger *owner = nullptr;

        template<typename F>
        void withOwner(F &&work)
        {
            QMutexLocker lock(&mutex);
            if (owner)
                work(owner);
        }
    };
    ScreenRecorder::SampleHandler makeSampleHandler();
    void handleVideoSample(const SampleBuffer &sample, int &frameCount);
    void rotate(quint64 epoch);
    void completeRotation(quint64 epoch);
    void interrupt(const MediaError &error);
    void notifyOnMainThread(std::function<void(CaptureMananger *)> notify);
    /// Runs `work` on a worker thread of its own.
    void runInBackground(std::function<void()> work);
    /// Calls `then` (any thread) once a recording being finished is on disk.
    void whenRecordingWritten(std::function<void()> then);
    void writeMetadataClip(const QImage &card, QSize size, const QUrl &video, URLCompletion completion,
                           Failure failure);
    /// The still frame, saying also whether the recording was empty (the
    /// no-activity alert is then already on screen).
    void takeStillFrame(std::function<void(const std::optional<QImage> &, bool emptyRecording)> completion);
    void recordingUnavailable();
    void openVideoEditor(const QUrl &url);
    void endSessionAfterFailure(const MediaError &error);

    ScreenRecorder *const m_recorder;
    const QUrl m_recordedFileURL;
    const QUrl m_recordingFileURL;
    const QUrl m_metadataFileURL;
    const QUrl m_metadataMergedFileURL;
    const QUrl m_finalFileURL;

    mutable QMutex m_writerMutex;
    std::shared_ptr<AssetWriter> m_assetWriter;
    std::shared_ptr<AssetWriterInput> m_assetWriterInput;

    /// Changes at every start and stop, so that a rotation in flight knows
    /// whether its capture is still the one wanted.
    std::atomic<quint64> m_epoch{0};
    std::atomic<quint64> m_framesAppended{0};
    std::atomic<quint64> m_framesDropped{0};
    std::atomic<quint64> m_segmentsCompleted{0};
    std::shared_ptr<Guard> m_guard;
};

} // namespace tessivo
