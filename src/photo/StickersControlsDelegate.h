// What the sticker picker tells its owner.
#pragma once

#include "tessivo_export.h"

#include <memory>

namespace tessivo {

class StickerView;

class TESSIVO_EXPORT StickersControlsDelegate
{
public:
    virtual ~StickersControlsDelegate() = default;
    virtual void back() = 0;
    /// A chosen sticker, 0.45-scaled and styled large, to place; the
    /// delegate takes it.
    virtual void didSelectSticker(std::unique_ptr<StickerView> stickerView) = 0;
};

} // namespace tessivo
