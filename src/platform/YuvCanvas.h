// The recorder's picture of the window in the encoder's layout (YUV 4:2:0,
// BT.709, limited range), kept between frames: each frame's repainted
// patch is converted into it, and nothing else is touched. Every picture
// handed out shares the canvas's planes; the canvas never writes planes a
// picture still holds (it copies them first, or starts new ones when the
// patch covers the whole frame). Used on the recorder thread only.
#pragma once

#include "platform/FramePool.h"

#include <QImage>
#include <QRegion>

#include <memory>

struct AVFrame;

namespace tessivo {

class YuvCanvas
{
public:
    YuvCanvas();
    ~YuvCanvas();
    YuvCanvas(const YuvCanvas &) = delete;
    YuvCanvas &operator=(const YuvCanvas &) = delete;

    /// Converts `patch` into the canvas and returns the updated picture.
    /// A patch for another frame size starts a new canvas (black where the
    /// patch does not reach). Null when out of memory or for an empty patch.
    std::shared_ptr<const AVFrame> apply(const FramePatch &patch);

    /// Converts `region` (image coordinates; even-aligned rectangles) of a
    /// 32-bit RGB image into the same place of a YUV 4:2:0 `frame`.
    static void convert(const QImage &image, const QRegion &region, AVFrame *frame, QPoint frameOffset);

private:
    bool startFrame(QSize size, bool clear);

    AVFrame *m_frame = nullptr;
};

} // namespace tessivo
