#include "platform/AssetImageGenerator.h"

#include "platform/AVHandles.h"
#include "platform/VideoDecoder.h"

#include <QFile>

namespace tessivo {

std::optional<QImage> AssetImageGenerator::copyImage(MediaTime time, MediaTime *actualTime,
                                                     MediaError *error) const
{
    auto fail = [error](int code, const QString &text) -> std::optional<QImage> {
        if (error)
            *error = {QStringLiteral("AssetImageGeneratorErrorDomain"), code, text};
        return std::nullopt;
    };
    if (!m_asset.isReadable() || !m_asset.hasVideoTrack())
        return fail(AVERROR(EINVAL), m_asset.error() ? m_asset.error()->localizedDescription
                                                     : QStringLiteral("The movie has no video"));
    int ret = 0;
    InputFormatHandle input = openMovieInput(QFile::encodeName(m_asset.url().toLocalFile()), &ret);
    if (!input)
        return fail(ret, QStringLiteral("Cannot read the movie: ") + averrorText(ret));
    const int index = m_asset.firstVideoTrack().trackID;
    if (index >= static_cast<int>(input->nb_streams))
        return fail(AVERROR(EINVAL), QStringLiteral("The movie changed while it was read"));
    AVStream *stream = input->streams[index];
    QString message;
    auto decoder = VideoDecoder::open(stream->codecpar, &message);
    if (!decoder)
        return fail(AVERROR_DECODER_NOT_FOUND, message);

    const qint64 target = av_rescale_q(time.value, {1, time.timescale}, stream->time_base);
    av_seek_frame(input.get(), index, target, AVSEEK_FLAG_BACKWARD);
    PacketHandle packet = makePacket();
    std::vector<FrameHandle> frames;
    FrameHandle best;
    qint64 bestPts = AV_NOPTS_VALUE;
    auto consider = [&] {
        for (FrameHandle &frame : frames) {
            const qint64 pts = frame->best_effort_timestamp;
            if (pts != AV_NOPTS_VALUE && pts > target)
                continue;
            if (!best || pts >= bestPts) {
                bestPts = pts;
                best = std::move(frame);
            }
        }
        frames.clear();
    };
    while ((ret = av_read_frame(input.get(), packet.get())) >= 0) {
        if (packet->stream_index == index) {
            if (packet->pts != AV_NOPTS_VALUE && packet->pts > target && best) {
                av_packet_unref(packet.get());
                break;
            }
            decoder->decode(packet.get(), frames);
            consider();
        }
        av_packet_unref(packet.get());
    }
    decoder->decode(nullptr, frames);
    consider();
    if (!best)
        return fail(AVERROR_INVALIDDATA, QStringLiteral("No frame could be decoded"));
    if (actualTime)
        *actualTime = MediaTime{av_rescale_q(bestPts, stream->time_base, {1, 90000}), 90000};
    ScalerHandle scaler;
    QImage image = VideoDecoder::toImage(best.get(), scaler);
    if (image.isNull())
        return fail(AVERROR(ENOMEM), QStringLiteral("Cannot convert the frame"));
    return image;
}

} // namespace tessivo
