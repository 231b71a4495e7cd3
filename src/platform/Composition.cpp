#include "platform/Composition.h"

namespace tessivo {

std::shared_ptr<CompositionTrack> Composition::addMutableTrack(MediaType mediaType)
{
    if (mediaType != MediaType::video)
        return nullptr;
    m_tracks.push_back(std::make_shared<CompositionTrack>());
    return m_tracks.back();
}

std::shared_ptr<const CompositionTrack> Composition::videoTrack() const
{
    return m_tracks.empty() ? nullptr : m_tracks.front();
}

MediaTime Composition::duration() const
{
    MediaTime longest{0, 1000};
    for (const auto &track : m_tracks) {
        if (track->duration() > longest)
            longest = track->duration();
    }
    return longest;
}

} // namespace tessivo
