// Background screen recording in rolling segments: the recorder's video
// frames go to "recordingVideo"; every 600 frames that segment is finished,
// copied to "recordedVideo" and a new one begins. Also owns the five capture
// file locations.
#pragma once

#include "platform/AssetWriter.h"
#include "platform/AssetWriterInput.h"
#include "platform/MediaError.h"
#include "platform/ScreenRecorder.h"
#include "tessivo_export.h"

#include <QMutex>
#include <QObject>
#include <QUrl>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace tessivo {

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

    /// The video report and the still-frame screenshot. Each says whether
    /// this build can make it yet; the capture choice screen leaves a tile
    /// that cannot inert.
    bool canProduceVideoFeedback() const { return false; }
    void produceVideoFeedback() {}
    bool canProduceScreenshotFromRecording() const { return false; }
    void produceScreenshotFromRecording() {}

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
    struct Guard;
    ScreenRecorder::SampleHandler makeSampleHandler();
    void handleVideoSample(const SampleBuffer &sample, int &frameCount);
    void rotate(quint64 epoch);
    void completeRotation(quint64 epoch);
    void interrupt(const MediaError &error);
    void notifyOnMainThread(std::function<void(CaptureMananger *)> notify);

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
