// Still images from a movie: the frame shown at a given time, decoded with
// libavcodec. Blocking; call it off the GUI thread.
#pragma once

#include "platform/MediaAsset.h"
#include "tessivo_export.h"

#include <QImage>

#include <optional>

namespace tessivo {

class TESSIVO_EXPORT AssetImageGenerator
{
public:
    explicit AssetImageGenerator(MediaAsset asset) : m_asset(std::move(asset)) {}

    /// The frame on screen at `time`: the last frame that starts at or
    /// before it (at or after the end of the movie, its last frame). No
    /// image, with `error` filled, when the movie cannot be decoded.
    std::optional<QImage> copyImage(MediaTime time, MediaTime *actualTime = nullptr,
                                    MediaError *error = nullptr) const;

private:
    MediaAsset m_asset;
};

} // namespace tessivo
