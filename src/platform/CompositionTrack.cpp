#include "platform/CompositionTrack.h"

namespace tessivo {

MediaTime CompositionTrack::duration() const
{
    if (m_segments.isEmpty())
        return {0, 1000};
    return m_segments.last().targetRange().end();
}

bool CompositionTrack::insertTimeRange(const MediaTimeRange &range, const MediaAssetTrack &track,
                                       MediaTime at, MediaError *error)
{
    auto fail = [error](const QString &text) {
        if (error)
            *error = {QStringLiteral("CompositionErrorDomain"), -11800, text};
        return false;
    };
    if (!range.isValid() || !at.isValid() || track.trackID < 0)
        return fail(QStringLiteral("Invalid time range or track"));
    const MediaTimeRange available = track.timeRange;
    if (range.start < available.start || range.end() > available.end())
        return fail(QStringLiteral("The time range lies outside the source track"));
    if (at != duration())
        return fail(QStringLiteral("Segments can only be added at the end of the track"));
    if (range.duration.value == 0)
        return true;
    m_segments.append({track, range, at});
    return true;
}

} // namespace tessivo
