// The export's pass that copies encoded packets: every piece's packets go
// to the output as they are, re-timed onto the output's timeline; a piece
// that starts inside a group of pictures either keeps that group's leading
// frames hidden behind the edit list (the first piece) or has the frames up
// to the next keyframe encoded again (a smart cut).
#include "platform/ExportSession.h"

#include "platform/ExportPiece.h"
#include "platform/MovieWriter.h"
#include "platform/SmartCut.h"

namespace tessivo {

ExportSession::Outcome ExportSession::exportPassingThrough(const std::vector<ExportPiece> &pieces)
{
    MovieWriter writer(m_outputURL.toLocalFile());
    bool opened = false;
    PacketHandle packet = makePacket();
    auto failWith = [this](int code, const QString &text) { fail(code, text); };

    for (size_t i = 0; i < pieces.size(); ++i) {
        const ExportPiece &piece = pieces[i];
        int ret = 0;
        InputFormatHandle input;
        AVStream *stream = piece.openStream(input, failWith);
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
        const qint64 fromTicks = ExportPiece::ticks(piece.from, source);
        const qint64 toTicks = ExportPiece::ticks(piece.to, source);
        const qint64 outStart = ExportPiece::ticks(piece.outputStart, output);
        const qint64 outEnd = ExportPiece::ticks(piece.outputEnd(), output);
        auto map = [&](qint64 t) { return av_rescale_q(t - fromTicks, source, output) + outStart; };

        auto writeMapped = [&](AVPacket *p) {
            p->pts = map(ExportPiece::presentationTime(p));
            p->dts = p->pts; // no B-frames
            p->duration = av_rescale_q(p->duration, source, output);
            if (p->duration <= 0 || p->pts + p->duration > outEnd)
                p->duration = std::max<qint64>(1, outEnd - p->pts);
            return writer.write(p);
        };

        std::vector<PacketHandle> lead; // from the last keyframe before `from`
        std::vector<PacketHandle> group; // from `from` up to the next keyframe
        auto reencodeGroup = [&](qint64 boundary) -> Outcome {
            const AVCodecParameters *parameters = writer.parameters();
            const QByteArray configuration(reinterpret_cast<const char *>(parameters->extradata),
                                           parameters->extradata_size);
            qint64 frames = 0;
            switch (SmartCut::reencode(stream, piece.track.naturalSize, configuration, lead, group, fromTicks,
                                       toTicks, boundary, writeMapped, &frames)) {
            case SmartCut::Result::done:
                break;
            case SmartCut::Result::needsReencoding:
                return Outcome::needsReencoding;
            case SmartCut::Result::failed:
                fail(AVERROR_EXTERNAL, QStringLiteral("Writing %1 failed").arg(m_outputURL.fileName()));
                return Outcome::failed;
            }
            QMutexLocker lock(&m_mutex);
            m_statistics.framesReencoded += frames;
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
            const qint64 pts = ExportPiece::presentationTime(packet.get());
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

} // namespace tessivo
