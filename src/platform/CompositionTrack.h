// One track of a Composition: segments of source tracks laid end to end on
// the composition's timeline.
#pragma once

#include "platform/MediaAsset.h"
#include "platform/MediaError.h"
#include "platform/MediaTimeRange.h"
#include "tessivo_export.h"

#include <QList>

namespace tessivo {

/// A span of a source track placed at a time of the composition.
struct TESSIVO_EXPORT CompositionTrackSegment {
    MediaAssetTrack sourceTrack;
    /// The span of the source track, on its own timeline.
    MediaTimeRange sourceRange;
    /// Where the span begins in the composition.
    MediaTime targetStart;

    MediaTimeRange targetRange() const { return {targetStart, sourceRange.duration}; }
};

class TESSIVO_EXPORT CompositionTrack
{
public:
    const QList<CompositionTrackSegment> &segments() const { return m_segments; }
    /// The end of the last segment (zero when empty).
    MediaTime duration() const;

    /// Places `range` of `track` at `at`. Segments are laid end to end: `at`
    /// must be the track's current end. False, with `error` filled, when
    /// the range is not inside the source track or `at` is elsewhere.
    bool insertTimeRange(const MediaTimeRange &range, const MediaAssetTrack &track, MediaTime at,
                         MediaError *error = nullptr);

private:
    QList<CompositionTrackSegment> m_segments;
};

} // namespace tessivo
