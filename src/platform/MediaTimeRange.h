// A span of a media timeline: a start and a duration.
#pragma once

#include "platform/MediaTime.h"

namespace tessivo {

struct MediaTimeRange {
    MediaTime start;
    MediaTime duration;

    MediaTime end() const { return start + duration; }
    bool isValid() const { return start.isValid() && duration.isValid() && duration.value >= 0; }
    /// The range from `from` to `to` (a negative span is empty).
    static MediaTimeRange fromTo(MediaTime from, MediaTime to)
    {
        MediaTime length = to - from;
        if (length.isValid() && length.value < 0)
            length.value = 0;
        return {from, length};
    }
};

} // namespace tessivo
