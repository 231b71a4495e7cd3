// The one video input of an AssetWriter: its output settings, its
// readiness (back-pressure from the encoder queue) and the appends.
#pragma once

#include "platform/SampleBuffer.h"
#include "tessivo_export.h"

#include <QMutex>

#include <atomic>
#include <memory>

namespace tessivo {

class MovieEncoder;

enum class MediaType { video, audio };
enum class VideoCodecType { h264 };

/// Pixel sizes as floating-point numbers; the writer rounds them down to
/// even integers, as the encoder needs.
struct TESSIVO_EXPORT VideoOutputSettings {
    VideoCodecType codec = VideoCodecType::h264;
    double width = 0;
    double height = 0;
};

class TESSIVO_EXPORT AssetWriterInput
{
public:
    AssetWriterInput(MediaType mediaType, VideoOutputSettings outputSettings);
    ~AssetWriterInput();
    AssetWriterInput(const AssetWriterInput &) = delete;
    AssetWriterInput &operator=(const AssetWriterInput &) = delete;

    MediaType mediaType() const { return m_mediaType; }
    const VideoOutputSettings &outputSettings() const { return m_settings; }

    /// Real-time inputs keep a short encoder queue so that a slow encoder
    /// turns into dropped frames rather than growing memory.
    bool expectsMediaDataInRealTime() const { return m_realTime; }
    void setExpectsMediaDataInRealTime(bool realTime) { m_realTime = realTime; }

    /// True while the writer is writing, the input is not finished and the
    /// encoder queue has room. Safe from any thread.
    bool isReadyForMoreMediaData() const;
    /// Queues the frame for encoding; never waits. False (frame dropped)
    /// when the input was not ready.
    bool append(const SampleBuffer &sampleBuffer);
    /// No more appends; the writer can finish.
    void markAsFinished();
    bool isFinished() const { return m_finished; }

private:
    friend class AssetWriter;
    void attach(std::shared_ptr<MovieEncoder> encoder);
    std::shared_ptr<MovieEncoder> encoder() const;

    const MediaType m_mediaType;
    const VideoOutputSettings m_settings;
    bool m_realTime = false;
    std::atomic<bool> m_finished{false};
    mutable QMutex m_mutex;
    std::shared_ptr<MovieEncoder> m_encoder;
};

} // namespace tessivo
