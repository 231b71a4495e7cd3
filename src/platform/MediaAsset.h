// A movie file (QuickTime or MPEG-4) as the media layer sees it: readable
// or not, its duration and its first video track. Loading reads the file's header: call it off
// the GUI thread.
#pragma once

#include "platform/MediaError.h"
#include "platform/MediaTimeRange.h"
#include "tessivo_export.h"

#include <QByteArray>
#include <QSize>
#include <QUrl>

#include <optional>

namespace tessivo {

/// One video track of a movie file.
struct TESSIVO_EXPORT MediaAssetTrack {
    QUrl assetURL;
    /// The stream's index in the file.
    int trackID = -1;
    QSize naturalSize;
    /// From zero to the track's duration, on the track's own timescale.
    MediaTimeRange timeRange;
    /// Samples in the track, as the file states it.
    qint64 sampleCount = 0;
    /// Codec, profile, level, pixel format and parameter sets: tracks with
    /// the same description can share one sample description, so their
    /// packets can be joined as they are.
    int codecID = 0;
    int profile = 0;
    int level = 0;
    int pixelFormat = -1;
    QByteArray codecConfiguration;

    bool hasSameFormatDescription(const MediaAssetTrack &other) const;
};

class TESSIVO_EXPORT MediaAsset
{
public:
    /// Reads the header of the movie at `url` (blocking; any thread). An
    /// asset that cannot be read has no tracks, a zero duration and error().
    static MediaAsset load(const QUrl &url);

    QUrl url() const { return m_url; }
    bool isReadable() const { return m_readable; }
    std::optional<MediaError> error() const { return m_error; }
    /// The longest track's duration; zero when the file cannot be read.
    MediaTime duration() const { return m_duration; }
    /// duration() as value ÷ timescale in single precision, the arithmetic
    /// the capture code decides with.
    float durationSeconds() const;

    bool hasVideoTrack() const { return m_videoTrack.has_value(); }
    std::optional<MediaAssetTrack> videoTrack() const { return m_videoTrack; }
    /// The first video track of a readable movie. A readable movie without
    /// one is a programming error and stops the program (the kit's own
    /// movies always carry video).
    const MediaAssetTrack &firstVideoTrack() const;

private:
    QUrl m_url;
    bool m_readable = false;
    std::optional<MediaError> m_error;
    MediaTime m_duration{0, 1000};
    std::optional<MediaAssetTrack> m_videoTrack;
};

} // namespace tessivo
