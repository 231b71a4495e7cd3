// The one H.264 encoder configuration of the kit's movies. Every movie the
// kit encodes (recordings, the metadata clip, re-encoded joins) uses it, so
// that their parameter sets match byte for byte and their packets can be
// joined without re-encoding. Internal to the platform layer.
#pragma once

#include "platform/AVHandles.h"
#include "platform/MovieClock.h"

#include <QSize>

namespace tessivo {

class H264Encoder
{
public:
    /// The movie clock (see MovieClock): one tick per frame slot.
    static constexpr AVRational kTimeBase{1, MovieClock::kTicksPerSecond};
    /// Nominal rate; frames are timed by their own stamps.
    static constexpr AVRational kNominalFrameRate{30, 1};

    /// Opens libx264 for YUV 4:2:0 frames of `size` (even sizes only).
    /// `globalHeader` puts the parameter sets in the extradata, as movie
    /// files need. Null on failure, with `averror` and `message` filled.
    static CodecContextHandle open(QSize size, bool globalHeader, int *averror, QString *message);
};

} // namespace tessivo
