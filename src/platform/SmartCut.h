// The smart cut of an export: the frames of a group of pictures from a cut
// point up to the next keyframe are decoded and encoded again, so that the
// copied packets after them can follow. Internal to the platform layer.
#pragma once

#include "platform/AVHandles.h"

#include <QSize>

#include <functional>
#include <vector>

namespace tessivo {

class SmartCut
{
public:
    enum class Result { done, failed, needsReencoding };

    /// Decodes `lead` then `group` (the packets from the group's keyframe
    /// on, on `stream`'s clock) and encodes again the frames shown from
    /// `fromTicks` (inclusive) to `toTicks`; the last of them lasts until
    /// `boundary`. The new packets, in the stream's own form and on its
    /// clock, go to `write`. needsReencoding when the new packets cannot
    /// share the stream's parameter sets (`streamConfiguration`).
    static Result reencode(const AVStream *stream, QSize size, const QByteArray &streamConfiguration,
                           const std::vector<PacketHandle> &lead, const std::vector<PacketHandle> &group,
                           qint64 fromTicks, qint64 toTicks, qint64 boundary,
                           const std::function<int(AVPacket *)> &write, qint64 *framesReencoded);
};

} // namespace tessivo
