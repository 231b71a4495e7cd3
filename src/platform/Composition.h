// An edit of movies: tracks of segments taken from source files. Nothing is
// read or written until an ExportSession renders it.
#pragma once

#include "platform/AssetWriterInput.h"
#include "platform/CompositionTrack.h"
#include "tessivo_export.h"

#include <memory>
#include <vector>

namespace tessivo {

class TESSIVO_EXPORT Composition
{
public:
    /// A new empty track of `mediaType`. Only video is composed: other
    /// types give no track.
    std::shared_ptr<CompositionTrack> addMutableTrack(MediaType mediaType);
    const std::vector<std::shared_ptr<CompositionTrack>> &tracks() const { return m_tracks; }
    /// The first video track, if any.
    std::shared_ptr<const CompositionTrack> videoTrack() const;
    MediaTime duration() const;

private:
    std::vector<std::shared_ptr<CompositionTrack>> m_tracks;
};

} // namespace tessivo
