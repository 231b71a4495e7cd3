#include "platform/MediaAsset.h"

#include "platform/AVHandles.h"

#include <QFile>
#include <QFileInfo>

namespace tessivo {
namespace {

const QString kDomain = QStringLiteral("AssetErrorDomain");

/// Ticks on an FFmpeg time base as a MediaTime (90 kHz for unusual bases).
MediaTime mediaTime(qint64 ticks, AVRational timeBase)
{
    if (timeBase.num == 1 && timeBase.den > 0)
        return {ticks, timeBase.den};
    return {av_rescale_q(ticks, timeBase, {1, 90000}), 90000};
}

} // namespace

bool MediaAssetTrack::hasSameFormatDescription(const MediaAssetTrack &other) const
{
    return codecID == other.codecID && naturalSize == other.naturalSize && profile == other.profile
           && level == other.level && pixelFormat == other.pixelFormat
           && codecConfiguration == other.codecConfiguration;
}

MediaAsset MediaAsset::load(const QUrl &url)
{
    MediaAsset asset;
    asset.m_url = url;
    const QString path = url.toLocalFile();
    if (!url.isLocalFile() || !QFileInfo::exists(path)) {
        asset.m_error = MediaError{kDomain, AVERROR(ENOENT),
                                   QStringLiteral("No movie at %1").arg(url.toDisplayString())};
        return asset;
    }
    int ret = 0;
    InputFormatHandle input = openMovieInput(QFile::encodeName(path), &ret);
    if (!input) {
        asset.m_error = MediaError{kDomain, ret,
                                   QStringLiteral("Cannot read the movie %1: %2")
                                       .arg(QFileInfo(path).fileName(), averrorText(ret))};
        return asset;
    }
    const int index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index >= 0 && input->streams[index]->codecpar->width == 0) {
        // Containers without a full header need a look at the packets.
        ret = avformat_find_stream_info(input.get(), nullptr);
        if (ret < 0) {
            asset.m_error = MediaError{kDomain, ret,
                                       QStringLiteral("Cannot read the movie %1: %2")
                                           .arg(QFileInfo(path).fileName(), averrorText(ret))};
            return asset;
        }
    }
    asset.m_readable = true;

    MediaTime longest{0, 1000};
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream *stream = input->streams[i];
        if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0) {
            const MediaTime d = mediaTime(stream->duration, stream->time_base);
            if (d > longest)
                longest = d;
        }
    }
    if (longest.value == 0 && input->duration != AV_NOPTS_VALUE && input->duration > 0)
        longest = mediaTime(input->duration, AV_TIME_BASE_Q);
    asset.m_duration = longest;

    if (index >= 0) {
        const AVStream *stream = input->streams[index];
        const AVCodecParameters *par = stream->codecpar;
        MediaAssetTrack track;
        track.assetURL = url;
        track.trackID = index;
        track.naturalSize = QSize(par->width, par->height);
        const qint64 ticks = stream->duration != AV_NOPTS_VALUE ? std::max<qint64>(0, stream->duration) : 0;
        MediaTime start = mediaTime(0, stream->time_base);
        track.timeRange = {start, ticks > 0 ? mediaTime(ticks, stream->time_base) : longest};
        track.sampleCount = stream->nb_frames;
        track.codecID = par->codec_id;
        track.profile = par->profile;
        track.level = par->level;
        track.pixelFormat = par->format;
        track.codecConfiguration = QByteArray(reinterpret_cast<const char *>(par->extradata),
                                              par->extradata_size);
        asset.m_videoTrack = track;
    }
    return asset;
}

float MediaAsset::durationSeconds() const
{
    return m_duration.isValid() ? static_cast<float>(m_duration.value) / static_cast<float>(m_duration.timescale)
                                : 0.0f;
}

const MediaAssetTrack &MediaAsset::firstVideoTrack() const
{
    if (!m_videoTrack) {
        qFatal("The movie %s has no video track", qPrintable(m_url.toDisplayString()));
    }
    return *m_videoTrack;
}

} // namespace tessivo
