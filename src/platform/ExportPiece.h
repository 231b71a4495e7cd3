// A span of one source track and where it lands in an export's output, with
// what the export's passes share to read it. Internal to the platform layer.
#pragma once

#include "platform/AVHandles.h"
#include "platform/MediaAsset.h"

#include <functional>

namespace tessivo {

struct ExportPiece {
    MediaAssetTrack track;
    MediaTime from;
    MediaTime to;
    MediaTime outputStart;

    MediaTime outputEnd() const { return outputStart + (to - from); }

    /// Opens the piece's movie into `input`: the stream the piece names, or
    /// null once `fail` has heard why there is none.
    AVStream *openStream(InputFormatHandle &input, const std::function<void(int, const QString &)> &fail) const;

    /// `time` in ticks of `timeBase`, rounded to the nearest.
    static qint64 ticks(MediaTime time, AVRational timeBase);
    static qint64 presentationTime(const AVPacket *packet)
    {
        return packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    }
};

} // namespace tessivo
