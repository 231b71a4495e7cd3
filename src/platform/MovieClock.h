// The clock of every movie the kit writes: frame times are whole ticks of
// 1/30 s from the movie's start, each frame on a tick of its own. Decoders
// infer a movie's frame rate from its first frames and round every frame
// time to it; on this clock that rate is the tick rate, so no two frames
// ever round to the same instant.
#pragma once

#include <QtGlobal>

namespace tessivo {

struct MovieClock {
    /// Frames stamped at least a tick apart land on different ticks.
    static constexpr int kTicksPerSecond = 30;
};

} // namespace tessivo
