// The encoding side of AssetWriter: a queue of frames drained by one
// thread that converts colour (libswscale), encodes H.264 (libx264) and
// muxes a QuickTime movie (libavformat). Internal to the platform layer.
#pragma once

#include "platform/AssetWriter.h"
#include "platform/SampleBuffer.h"

#include <QMutex>
#include <QString>
#include <QWaitCondition>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct AVPacket;

namespace tessivo {

class MovieEncoder : public std::enable_shared_from_this<MovieEncoder>
{
public:
    /// Keyframes (IDR) come at most this far apart on the movie's timeline
    /// while frames keep arriving, so that a movie can be cut or joined at
    /// a keyframe close to any instant.
    static constexpr qint64 kKeyframeIntervalUs = 1000000;
    /// Frames queued or being encoded before the input reports not ready.
    static constexpr int kRealTimeQueueDepth = 3;
    static constexpr int kOfflineQueueDepth = 8;

    explicit MovieEncoder(QString path);
    ~MovieEncoder();

    AssetWriterStatus status() const { return m_status.load(); }
    std::optional<MediaError> error() const;

    /// Opens the file and the encoder for frames of width × height (rounded
    /// down to even) and starts the encoding thread.
    bool start(int width, int height, bool realTime);
    void setSessionStart(MediaTime sourceTime);
    void setSessionEnd(MediaTime sourceTime);
    bool isReadyForMoreFrames() const;
    bool enqueue(const SampleBuffer &frame);
    void finish(std::function<void()> completion);
    void cancel();
    /// The owner is gone: stop without finishing the file.
    void abandon();
    /// Marks the writer failed with `error` (used before start).
    void fail(MediaError error);

private:
    struct Job {
        enum class Kind { frame, finish, cancel, abandon } kind;
        SampleBuffer frame;
    };
    struct Codec;

    void post(Job job);
    void run();
    void encode(const SampleBuffer &frame);
    int mux(AVPacket *packet);
    /// The session's end on the movie clock, when one was set.
    std::optional<qint64> sessionEndTicks() const;
    void finishFile();
    void closeFile(bool removeFile);
    void failWith(int averror, const QString &what);

    const QString m_path;
    std::atomic<AssetWriterStatus> m_status{AssetWriterStatus::unknown};
    std::atomic<int> m_framesInFlight{0};
    std::atomic<bool> m_finishRequested{false};
    int m_queueDepth = kRealTimeQueueDepth;

    mutable QMutex m_mutex; // guards the members below
    QWaitCondition m_wake;
    std::deque<Job> m_jobs;
    std::vector<std::function<void()>> m_finishCompletions;
    std::optional<MediaError> m_error;
    MediaTime m_sessionStart;
    MediaTime m_sessionEnd;
    bool m_threadRunning = false;

    std::unique_ptr<Codec> m_codec; // touched only by start() and the thread
};

} // namespace tessivo
