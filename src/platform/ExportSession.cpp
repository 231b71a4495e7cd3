#include "platform/ExportSession.h"

#include "platform/ExportPiece.h"
#include "platform/FrameConverter.h"
#include "platform/H264Encoder.h"
#include "platform/MovieWriter.h"
#include "platform/VideoDecoder.h"

#include <QFile>

#include <algorithm>
#include <deque>
#include <thread>

namespace tessivo {
namespace {

const QString kDomain = QStringLiteral("ExportSessionErrorDomain");

} // namespace

std::shared_ptr<ExportSession> ExportSession::create(std::shared_ptr<const Composition> composition,
                                                     ExportPreset)
{
    if (!composition || !composition->videoTrack() || composition->videoTrack()->segments().isEmpty())
        return nullptr;
    return std::shared_ptr<ExportSession>(new ExportSession(std::move(composition)));
}

std::shared_ptr<ExportSession> ExportSession::create(const MediaAsset &asset, ExportPreset preset)
{
    if (!asset.isReadable())
        return nullptr;
    const MediaAssetTrack &track = asset.firstVideoTrack();
    auto composition = std::make_shared<Composition>();
    auto video = composition->addMutableTrack(MediaType::video);
    video->insertTimeRange(track.timeRange, track, video->duration());
    return create(std::move(composition), preset);
}

ExportSession::ExportSession(std::shared_ptr<const Composition> composition)
    : m_composition(std::move(composition))
{
}

ExportSession::~ExportSession() = default;

std::optional<MediaError> ExportSession::error() const
{
    QMutexLocker lock(&m_mutex);
    return m_error;
}

ExportSession::Statistics ExportSession::statistics() const
{
    QMutexLocker lock(&m_mutex);
    return m_statistics;
}

void ExportSession::fail(int code, const QString &text)
{
    {
        QMutexLocker lock(&m_mutex);
        if (!m_error)
            m_error = MediaError{kDomain, code, text};
    }
    m_status = Status::failed;
}

void ExportSession::exportAsynchronously(std::function<void()> completion)
{
    Status expected = Status::unknown;
    if (!m_status.compare_exchange_strong(expected, Status::waiting)) {
        if (completion)
            completion();
        return;
    }
    std::thread([self = shared_from_this(), completion = std::move(completion)] {
        self->run();
        if (completion)
            completion();
    }).detach();
}

void ExportSession::run()
{
    m_status = Status::exporting;
    if (!m_outputURL.isLocalFile() || m_outputURL.toLocalFile().isEmpty()) {
        fail(AVERROR(EINVAL), QStringLiteral("The output location is not a local file"));
        return;
    }
    // The pieces of the composition inside the time range.
    const auto track = m_composition->videoTrack();
    const MediaTime zero{0, 1000};
    MediaTime rangeStart = zero;
    MediaTime rangeEnd = m_composition->duration();
    if (m_timeRange && m_timeRange->isValid()) {
        rangeStart = std::max(zero, std::min(m_timeRange->start, rangeEnd), std::less<>());
        rangeEnd = std::max(rangeStart, std::min(m_timeRange->end(), rangeEnd), std::less<>());
    }
    std::vector<ExportPiece> pieces;
    for (const CompositionTrackSegment &segment : track->segments()) {
        const MediaTimeRange target = segment.targetRange();
        const MediaTime from = std::max(target.start, rangeStart, std::less<>());
        const MediaTime to = std::min(target.end(), rangeEnd, std::less<>());
        if (!(from < to))
            continue;
        const MediaTime sourceFrom = segment.sourceRange.start + (from - target.start);
        pieces.push_back({segment.sourceTrack, sourceFrom, sourceFrom + (to - from), from - rangeStart});
    }
    if (pieces.empty()) {
        fail(AVERROR(EINVAL), QStringLiteral("The time range holds no video"));
        return;
    }
    QFile::remove(m_outputURL.toLocalFile());

    const bool sameFormat = std::all_of(pieces.begin(), pieces.end(), [&](const ExportPiece &piece) {
        return piece.track.hasSameFormatDescription(pieces.front().track);
    });
    Outcome outcome = sameFormat ? exportPassingThrough(pieces) : Outcome::needsReencoding;

    if (outcome == Outcome::needsReencoding) {
        {
            QMutexLocker lock(&m_mutex);
            m_statistics = {};
            m_statistics.reencodedEverything = true;
        }
        outcome = exportReencoding(pieces);
    }
    if (outcome == Outcome::done)
        m_status = Status::completed;
    else if (m_status != Status::failed)
        fail(AVERROR_UNKNOWN, QStringLiteral("The export failed"));
}

ExportSession::Outcome ExportSession::exportReencoding(const std::vector<ExportPiece> &pieces)
{
    QFile::remove(m_outputURL.toLocalFile());
    const QSize size(pieces.back().track.naturalSize.width() & ~1, pieces.back().track.naturalSize.height() & ~1);
    int ret = 0;
    QString message;
    const bool globalHeader = true; // QuickTime and MPEG-4 both keep parameter sets in the header
    CodecContextHandle encoder = H264Encoder::open(size, globalHeader, &ret, &message);
    if (!encoder) {
        fail(ret, message);
        return Outcome::failed;
    }
    AVCodecParameters *parameters = avcodec_parameters_alloc();
    avcodec_parameters_from_context(parameters, encoder.get());
    MovieWriter writer(m_outputURL.toLocalFile());
    ret = writer.open(m_fileType, m_optimizeForNetwork, parameters, H264Encoder::kTimeBase);
    avcodec_parameters_free(&parameters);
    if (ret < 0) {
        fail(ret, QStringLiteral("Cannot write %1: %2").arg(m_outputURL.fileName(), averrorText(ret)));
        return Outcome::failed;
    }
    const AVRational output = writer.timeBase();
    FrameConverter converter(size);
    FrameHandle converted = makeFrame();
    converted->format = AV_PIX_FMT_YUV420P;
    converted->width = size.width();
    converted->height = size.height();
    if (av_frame_get_buffer(converted.get(), 0) < 0) {
        fail(AVERROR(ENOMEM), QStringLiteral("Out of memory for frames"));
        return Outcome::failed;
    }
    PacketHandle packet = makePacket();
    std::deque<std::pair<qint64, qint64>> timing; // output pts, duration (encoder time base)
    qint64 framesEncoded = 0;
    auto drain = [&]() -> int {
        int r;
        while ((r = avcodec_receive_packet(encoder.get(), packet.get())) >= 0) {
            if (timing.empty())
                return AVERROR_BUG;
            const auto [pts, duration] = timing.front();
            timing.pop_front();
            packet->pts = packet->dts = av_rescale_q(pts, H264Encoder::kTimeBase, output);
            packet->duration = std::max<qint64>(1, av_rescale_q(duration, H264Encoder::kTimeBase, output));
            const int w = writer.write(packet.get());
            av_packet_unref(packet.get());
            if (w < 0)
                return w;
        }
        return r == AVERROR(EAGAIN) || r == AVERROR_EOF ? 0 : r;
    };
    // Frames wait for the next one, which gives their duration.
    FrameHandle held;
    qint64 heldPts = 0;
    ScalerHandle scaler;
    auto submitHeld = [&](qint64 endPts) -> int {
        if (!held)
            return 0;
        AVFrame *source = held.get();
        AVFrame *frame = source;
        if (source->width != size.width() || source->height != size.height()
            || source->format != AV_PIX_FMT_YUV420P) {
            int r = av_frame_make_writable(converted.get());
            if (r < 0)
                return r;
            const QImage image = VideoDecoder::toImage(source, scaler);
            if (image.isNull() || !converter.convert(image, converted.get()))
                return AVERROR(EINVAL);
            frame = converted.get();
        }
        frame->pts = heldPts;
        frame->pict_type = AV_PICTURE_TYPE_NONE;
        timing.emplace_back(heldPts, std::max<qint64>(1, endPts - heldPts));
        int r = avcodec_send_frame(encoder.get(), frame);
        held.reset();
        ++framesEncoded;
        return r < 0 ? r : drain();
    };

    for (const ExportPiece &piece : pieces) {
        InputFormatHandle input;
        AVStream *stream = piece.openStream(input, [this](int code, const QString &text) { fail(code, text); });
        if (!stream)
            return Outcome::failed;
        const int index = piece.track.trackID;
        const AVRational source = stream->time_base;
        auto decoder = VideoDecoder::open(stream->codecpar, &message);
        if (!decoder) {
            fail(AVERROR_DECODER_NOT_FOUND, message);
            return Outcome::failed;
        }
        const qint64 fromTicks = ExportPiece::ticks(piece.from, source);
        const qint64 toTicks = ExportPiece::ticks(piece.to, source);
        const qint64 outStart = ExportPiece::ticks(piece.outputStart, H264Encoder::kTimeBase);
        const qint64 outEnd = ExportPiece::ticks(piece.outputEnd(), H264Encoder::kTimeBase);
        if (fromTicks > 0)
            av_seek_frame(input.get(), index, fromTicks, AVSEEK_FLAG_BACKWARD);
        std::vector<FrameHandle> frames;
        auto take = [&]() -> int {
            for (FrameHandle &frame : frames) {
                const qint64 pts = frame->best_effort_timestamp;
                if (pts < fromTicks || pts >= toTicks)
                    continue;
                const qint64 out = av_rescale_q(pts - fromTicks, source, H264Encoder::kTimeBase) + outStart;
                if (held && out <= heldPts)
                    continue;
                if (int r = submitHeld(out); r < 0)
                    return r;
                held = std::move(frame);
                heldPts = out;
            }
            frames.clear();
            return 0;
        };
        bool done = false;
        while (!done && (ret = av_read_frame(input.get(), packet.get())) >= 0) {
            if (packet->stream_index == index) {
                done = ExportPiece::presentationTime(packet.get()) >= toTicks;
                if (!done)
                    ret = decoder->decode(packet.get(), frames);
            }
            av_packet_unref(packet.get());
            if (ret < 0 || (ret = take()) < 0)
                break;
        }
        if (ret >= 0 || ret == AVERROR_EOF) {
            decoder->decode(nullptr, frames);
            ret = take();
        }
        if (ret < 0 && ret != AVERROR_EOF) {
            fail(ret, QStringLiteral("Re-encoding %1 failed: %2").arg(piece.track.assetURL.fileName(), averrorText(ret)));
            return Outcome::failed;
        }
        // The piece's last frame lasts until the piece ends.
        if (held) {
            if ((ret = submitHeld(outEnd)) < 0) {
                fail(ret, QStringLiteral("Re-encoding failed: ") + averrorText(ret));
                return Outcome::failed;
            }
        }
    }
    avcodec_send_frame(encoder.get(), nullptr);
    ret = drain();
    if (ret >= 0)
        ret = writer.finish();
    if (ret < 0) {
        fail(ret, QStringLiteral("Writing %1 failed: %2").arg(m_outputURL.fileName(), averrorText(ret)));
        return Outcome::failed;
    }
    QMutexLocker lock(&m_mutex);
    m_statistics.framesReencoded = framesEncoded;
    return Outcome::done;
}

} // namespace tessivo