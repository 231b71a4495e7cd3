#include "platform/SmartCut.h"

#include "platform/H264Bitstream.h"
#include "platform/H264Encoder.h"
#include "platform/VideoDecoder.h"

#include <algorithm>
#include <deque>

namespace tessivo {
namespace {

QByteArray bytes(const uint8_t *data, int size)
{
    return QByteArray(reinterpret_cast<const char *>(data), size);
}

} // namespace

SmartCut::Result SmartCut::reencode(const AVStream *stream, QSize size, const QByteArray &streamConfiguration,
                                    const std::vector<PacketHandle> &lead, const std::vector<PacketHandle> &group,
                                    qint64 fromTicks, qint64 toTicks, qint64 boundary,
                                    const std::function<int(AVPacket *)> &write, qint64 *framesReencoded)
{
    QString message;
    auto decoder = VideoDecoder::open(stream->codecpar, &message);
    int averror = 0;
    CodecContextHandle encoder = H264Encoder::open(size, true, &averror, &message);
    if (!decoder || !encoder)
        return Result::needsReencoding;
    // The new packets must fit the stream's own parameter sets, and travel
    // in the stream's own form.
    const QList<QByteArray> streamSets = H264Bitstream::parameterSets(streamConfiguration);
    if (stream->codecpar->codec_id != AV_CODEC_ID_H264 || streamSets.isEmpty()
        || H264Bitstream::parameterSets(bytes(encoder->extradata, encoder->extradata_size)) != streamSets)
        return Result::needsReencoding;
    const int lengthSize = H264Bitstream::nalLengthSize(streamConfiguration);
    std::vector<FrameHandle> frames;
    for (const auto *list : {&lead, &group}) {
        for (const PacketHandle &p : *list) {
            if (decoder->decode(p.get(), frames) < 0)
                return Result::needsReencoding;
        }
    }
    if (decoder->decode(nullptr, frames) < 0)
        return Result::needsReencoding;
    std::erase_if(frames, [&](const FrameHandle &f) {
        return f->best_effort_timestamp < fromTicks || f->best_effort_timestamp >= toTicks;
    });
    std::sort(frames.begin(), frames.end(), [](const FrameHandle &a, const FrameHandle &b) {
        return a->best_effort_timestamp < b->best_effort_timestamp;
    });
    const AVRational source = stream->time_base;
    std::deque<std::pair<qint64, qint64>> timing; // source pts, duration
    for (size_t k = 0; k < frames.size(); ++k) {
        const qint64 pts = frames[k]->best_effort_timestamp;
        const qint64 next = k + 1 < frames.size() ? frames[k + 1]->best_effort_timestamp : boundary;
        timing.emplace_back(pts, std::max<qint64>(1, next - pts));
    }
    PacketHandle encoded = makePacket();
    auto drain = [&]() -> int {
        int r;
        while ((r = avcodec_receive_packet(encoder.get(), encoded.get())) >= 0) {
            if (timing.empty())
                return AVERROR_BUG;
            const auto [pts, duration] = timing.front();
            timing.pop_front();
            encoded->pts = encoded->dts = pts;
            encoded->duration = duration;
            if (lengthSize > 0) {
                const QByteArray data = H264Bitstream::toLengthPrefixed(bytes(encoded->data, encoded->size), lengthSize);
                if (av_grow_packet(encoded.get(), std::max<int>(0, int(data.size()) - encoded->size)) < 0)
                    return AVERROR(ENOMEM);
                memcpy(encoded->data, data.constData(), data.size());
                av_shrink_packet(encoded.get(), int(data.size()));
            }
            const int w = write(encoded.get());
            av_packet_unref(encoded.get());
            if (w < 0)
                return w;
        }
        return r == AVERROR(EAGAIN) || r == AVERROR_EOF ? 0 : r;
    };
    for (size_t k = 0; k < frames.size(); ++k) {
        AVFrame *frame = frames[k].get();
        if (frame->format != AV_PIX_FMT_YUV420P || frame->width != encoder->width
            || frame->height != encoder->height)
            return Result::needsReencoding;
        frame->pts = av_rescale_q(frame->best_effort_timestamp, source, H264Encoder::kTimeBase);
        frame->pict_type = k == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
        if (avcodec_send_frame(encoder.get(), frame) < 0 || drain() < 0)
            return Result::needsReencoding;
    }
    avcodec_send_frame(encoder.get(), nullptr);
    if (drain() < 0)
        return Result::failed;
    if (framesReencoded)
        *framesReencoded = static_cast<qint64>(frames.size());
    return Result::done;
}

} // namespace tessivo
