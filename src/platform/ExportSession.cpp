#include "platform/ExportSession.h"

#include "platform/AVHandles.h"
#include "platform/FrameConverter.h"
#include "platform/H264Bitstream.h"
#include "platform/H264Encoder.h"
#include "platform/VideoDecoder.h"

#include <QFile>

#include <algorithm>
#include <deque>
#include <thread>

namespace tessivo {
namespace {

const QString kDomain = QStringLiteral("ExportSessionErrorDomain");

qint64 ticks(MediaTime time, AVRational timeBase)
{
    return av_rescale_q_rnd(time.value, {1, time.timescale}, timeBase,
                            static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}

InputFormatHandle openInput(const QUrl &url, int *averror)
{
    return openMovieInput(QFile::encodeName(url.toLocalFile()), averror);
}

// A piece's movie and the stream it names; `fail` hears why when either is
// missing.
AVStream *openPieceStream(const QUrl &url, int trackID, InputFormatHandle &input,
                          const std::function<void(int, const QString &)> &fail)
{
    int ret = 0;
    input = openInput(url, &ret);
    if (!input) {
        fail(ret, QStringLiteral("Cannot read %1: %2").arg(url.fileName(), averrorText(ret)));
        return nullptr;
    }
    if (trackID < 0 || trackID >= static_cast<int>(input->nb_streams)) {
        fail(AVERROR(EINVAL), QStringLiteral("%1 changed while it was read").arg(url.fileName()));
        return nullptr;
    }
    return input->streams[trackID];
}

qint64 presentationTime(const AVPacket *packet)
{
    return packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
}

} // namespace

/// A span of one source track and where it lands in the output.
struct ExportSession::Piece {
    MediaAssetTrack track;
    MediaTime from;
    MediaTime to;
    MediaTime outputStart;
    MediaTime outputEnd() const { return outputStart + (to - from); }
};

/// The output movie: one video stream, timestamps kept rising.
class ExportSession::Writer
{
public:
    explicit Writer(QString path) : m_path(std::move(path)) {}
    ~Writer()
    {
        if (m_format && !m_finished) {
            m_format.reset();
            QFile::remove(m_path);
        }
    }

    int open(FileType type, bool optimizeForNetwork, const AVCodecParameters *parameters,
             AVRational timeBase)
    {
        AVFormatContext *raw = nullptr;
        const char *name = type == FileType::mpeg4 ? "mp4" : "mov";
        const QByteArray path = QFile::encodeName(m_path);
        int ret = avformat_alloc_output_context2(&raw, nullptr, name, path.constData());
        if (ret < 0)
            return ret;
        m_format.reset(raw);
        m_stream = avformat_new_stream(raw, nullptr);
        if (!m_stream)
            return AVERROR(ENOMEM);
        ret = avcodec_parameters_copy(m_stream->codecpar, parameters);
        if (ret < 0)
            return ret;
        m_stream->codecpar->codec_tag = 0;
        m_stream->time_base = timeBase;
        ret = avio_open(&raw->pb, path.constData(), AVIO_FLAG_WRITE);
        if (ret < 0)
            return ret;
        AVDictionary *options = nullptr;
        if (optimizeForNetwork)
            av_dict_set(&options, "movflags", "+faststart", 0);
        ret = avformat_write_header(raw, &options);
        av_dict_free(&options);
        return ret;
    }

    AVRational timeBase() const { return m_stream->time_base; }
    const AVCodecParameters *parameters() const { return m_stream->codecpar; }

    int write(AVPacket *packet)
    {
        if (packet->dts == AV_NOPTS_VALUE)
            packet->dts = packet->pts;
        if (m_lastDts != AV_NOPTS_VALUE && packet->dts <= m_lastDts)
            packet->dts = m_lastDts + 1;
        if (packet->pts < packet->dts)
            packet->pts = packet->dts;
        m_lastDts = packet->dts;
        packet->stream_index = 0;
        packet->pos = -1;
        const int ret = av_write_frame(m_format.get(), packet);
        return ret >= 0 && m_format->pb->error < 0 ? m_format->pb->error : ret;
    }

    int finish()
    {
        int ret = av_write_trailer(m_format.get());
        if (ret >= 0 && m_format->pb->error < 0)
            ret = m_format->pb->error;
        const int closed = avio_closep(&m_format->pb);
        if (ret >= 0)
            ret = closed;
        if (ret >= 0)
            m_finished = true;
        return ret;
    }

private:
    QString m_path;
    OutputFormatHandle m_format;
    AVStream *m_stream = nullptr;
    qint64 m_lastDts = AV_NOPTS_VALUE;
    bool m_finished = false;
};

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
    std::vector<Piece> pieces;
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

    const bool sameFormat = std::all_of(pieces.begin(), pieces.end(), [&](const Piece &piece) {
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

ExportSession::Outcome ExportSession::exportPassingThrough(const std::vector<Piece> &pieces)
{
    Writer writer(m_outputURL.toLocalFile());
    bool opened = false;
    PacketHandle packet = makePacket();

    for (size_t i = 0; i < pieces.size(); ++i) {
        const Piece &piece = pieces[i];
        int ret = 0;
        InputFormatHandle input;
        AVStream *stream = openPieceStream(piece.track.assetURL, piece.track.trackID, input,
                                           [this](int code, const QString &text) { fail(code, text); });
        if (!stream)
            return Outcome::failed;
        const int index = piece.track.trackID;
        const AVRational source = stream->time_base;
        if (!opened) {
            ret = writer.open(m_fileType, m_optimizeForNetwork, stream->codecpar, source);
            if (ret < 0) {
                fail(ret, QStringLiteral("Cannot write %1: %2").arg(m_outputURL.fileName(), averrorText(ret)));
                return Outcome::failed;
            }
            opened = true;
        }
        const AVRational output = writer.timeBase();
        const qint64 fromTicks = ticks(piece.from, source);
        const qint64 toTicks = ticks(piece.to, source);
        const qint64 outStart = ticks(piece.outputStart, output);
        const qint64 outEnd = ticks(piece.outputEnd(), output);
        auto map = [&](qint64 t) { return av_rescale_q(t - fromTicks, source, output) + outStart; };

        auto writeMapped = [&](AVPacket *p) {
            const qint64 pts = presentationTime(p);
            p->pts = map(pts);
            p->dts = p->dts == AV_NOPTS_VALUE ? p->pts : map(p->dts);
            p->duration = av_rescale_q(p->duration, source, output);
            if (p->duration <= 0 || p->pts + p->duration > outEnd)
                p->duration = std::max<qint64>(1, outEnd - p->pts);
            return writer.write(p);
        };

        // A smart cut: the frames from `from` up to the next keyframe are
        // decoded from the group they belong to and encoded again.
        std::vector<PacketHandle> lead; // from the last keyframe before `from`
        std::vector<PacketHandle> group; // from `from` up to the next keyframe
        auto reencodeGroup = [&](qint64 boundary) -> Outcome {
            QString message;
            auto decoder = VideoDecoder::open(stream->codecpar, &message);
            int averror = 0;
            CodecContextHandle encoder = H264Encoder::open(piece.track.naturalSize, true, &averror, &message);
            if (!decoder || !encoder)
                return Outcome::needsReencoding;
            // The new packets must fit the stream's own parameter sets, and
            // travel in the stream's own form.
            auto bytes = [](const uint8_t *data, int size) {
                return QByteArray(reinterpret_cast<const char *>(data), size);
            };
            const QByteArray streamConfiguration = bytes(writer.parameters()->extradata,
                                                         writer.parameters()->extradata_size);
            const QList<QByteArray> streamSets = H264Bitstream::parameterSets(streamConfiguration);
            if (stream->codecpar->codec_id != AV_CODEC_ID_H264 || streamSets.isEmpty()
                || H264Bitstream::parameterSets(bytes(encoder->extradata, encoder->extradata_size)) != streamSets)
                return Outcome::needsReencoding;
            const int lengthSize = H264Bitstream::nalLengthSize(streamConfiguration);
            std::vector<FrameHandle> frames;
            for (auto *list : {&lead, &group}) {
                for (PacketHandle &p : *list) {
                    if (decoder->decode(p.get(), frames) < 0)
                        return Outcome::needsReencoding;
                }
            }
            if (decoder->decode(nullptr, frames) < 0)
                return Outcome::needsReencoding;
            std::erase_if(frames, [&](const FrameHandle &f) {
                return f->best_effort_timestamp < fromTicks || f->best_effort_timestamp >= toTicks;
            });
            std::sort(frames.begin(), frames.end(), [](const FrameHandle &a, const FrameHandle &b) {
                return a->best_effort_timestamp < b->best_effort_timestamp;
            });
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
                        const QByteArray data = H264Bitstream::toLengthPrefixed(
                            bytes(encoded->data, encoded->size), lengthSize);
                        if (av_grow_packet(encoded.get(), std::max<int>(0, int(data.size()) - encoded->size)) < 0)
                            return AVERROR(ENOMEM);
                        memcpy(encoded->data, data.constData(), data.size());
                        av_shrink_packet(encoded.get(), int(data.size()));
                    }
                    const int w = writeMapped(encoded.get());
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
                    return Outcome::needsReencoding;
                frame->pts = av_rescale_q(frame->best_effort_timestamp, source, H264Encoder::kTimeBase);
                frame->pict_type = k == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
                if (avcodec_send_frame(encoder.get(), frame) < 0 || drain() < 0)
                    return Outcome::needsReencoding;
            }
            avcodec_send_frame(encoder.get(), nullptr);
            if (drain() < 0) {
                fail(AVERROR_EXTERNAL, QStringLiteral("Writing %1 failed").arg(m_outputURL.fileName()));
                return Outcome::failed;
            }
            QMutexLocker lock(&m_mutex);
            m_statistics.framesReencoded += static_cast<qint64>(frames.size());
            return Outcome::done;
        };

        if (fromTicks > 0)
            av_seek_frame(input.get(), index, fromTicks, AVSEEK_FLAG_BACKWARD);
        bool started = false;
        bool cutting = false;
        while ((ret = av_read_frame(input.get(), packet.get())) >= 0) {
            if (packet->stream_index != index) {
                av_packet_unref(packet.get());
                continue;
            }
            const qint64 pts = presentationTime(packet.get());
            const bool key = packet->flags & AV_PKT_FLAG_KEY;
            if (pts >= toTicks) {
                av_packet_unref(packet.get());
                break;
            }
            if (!started) {
                if (pts < fromTicks) {
                    if (key)
                        lead.clear();
                    if (key || !lead.empty())
                        lead.emplace_back(av_packet_clone(packet.get()));
                    av_packet_unref(packet.get());
                    continue;
                }
                started = true;
                if (key) {
                    lead.clear();
                } else if (lead.empty()) {
                    av_packet_unref(packet.get());
                    return Outcome::needsReencoding; // no keyframe to start from
                } else if (i == 0) {
                    // The movie opens inside a group: its leading frames are
                    // written before time zero, where the edit list hides them.
                    for (PacketHandle &p : lead) {
                        if ((ret = writeMapped(p.get())) < 0)
                            break;
                    }
                    lead.clear();
                    if (ret < 0) {
                        av_packet_unref(packet.get());
                        break;
                    }
                } else {
                    cutting = true;
                }
            }
            if (cutting) {
                if (!key) {
                    group.emplace_back(av_packet_clone(packet.get()));
                    av_packet_unref(packet.get());
                    continue;
                }
                const Outcome cut = reencodeGroup(pts);
                if (cut != Outcome::done) {
                    av_packet_unref(packet.get());
                    return cut;
                }
                cutting = false;
                lead.clear();
                group.clear();
            }
            ret = writeMapped(packet.get());
            av_packet_unref(packet.get());
            if (ret < 0)
                break;
            QMutexLocker lock(&m_mutex);
            ++m_statistics.packetsCopied;
        }
        if (ret < 0 && ret != AVERROR_EOF) {
            fail(ret, QStringLiteral("Copying %1 failed: %2").arg(piece.track.assetURL.fileName(), averrorText(ret)));
            return Outcome::failed;
        }
        if (cutting) {
            const Outcome cut = reencodeGroup(toTicks);
            if (cut != Outcome::done)
                return cut;
        }
        lead.clear();
        group.clear();
    }
    const int ret = writer.finish();
    if (ret < 0) {
        fail(ret, QStringLiteral("Finishing %1 failed: %2").arg(m_outputURL.fileName(), averrorText(ret)));
        return Outcome::failed;
    }
    return Outcome::done;
}

ExportSession::Outcome ExportSession::exportReencoding(const std::vector<Piece> &pieces)
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
    Writer writer(m_outputURL.toLocalFile());
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

    for (const Piece &piece : pieces) {
        InputFormatHandle input;
        AVStream *stream = openPieceStream(piece.track.assetURL, piece.track.trackID, input,
                                           [this](int code, const QString &text) { fail(code, text); });
        if (!stream)
            return Outcome::failed;
        const int index = piece.track.trackID;
        const AVRational source = stream->time_base;
        auto decoder = VideoDecoder::open(stream->codecpar, &message);
        if (!decoder) {
            fail(AVERROR_DECODER_NOT_FOUND, message);
            return Outcome::failed;
        }
        const qint64 fromTicks = ticks(piece.from, source);
        const qint64 toTicks = ticks(piece.to, source);
        const qint64 outStart = ticks(piece.outputStart, H264Encoder::kTimeBase);
        const qint64 outEnd = ticks(piece.outputEnd(), H264Encoder::kTimeBase);
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
                done = presentationTime(packet.get()) >= toTicks;
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
