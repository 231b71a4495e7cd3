// The recorder's copies of what a window painted. Only the repainted part
// of a frame is copied, into a reusable buffer the size of that part's
// bounding rectangle: buffers used before avoid fresh allocations (and
// their page faults) on the GUI thread for every frame.
#pragma once

#include <QImage>
#include <QPoint>
#include <QRegion>
#include <QSize>

#include <atomic>
#include <memory>
#include <vector>

namespace tessivo {

/// Part of a frame: the pixels of `region` (frame coordinates), held in
/// `image` whose top-left pixel is the frame's `origin`. Pixels of `image`
/// outside the region are undefined. The image is the only holder of its
/// buffer: it can be written without being copied.
struct FramePatch {
    QImage image;
    QPoint origin;
    QRegion region;
    /// The whole frame's size; a patch whose region is all of it replaces
    /// the frame.
    QSize frameSize;

    bool isNull() const { return image.isNull() || region.isEmpty(); }
    bool coversFrame() const { return (QRegion(QRect(QPoint(0, 0), frameSize)) - region).isEmpty(); }
    /// `frameRegion` (frame coordinates) in the coordinates of `image`.
    QRegion toImage(const QRegion &frameRegion) const { return frameRegion.translated(-origin); }
};

class FramePool
{
public:
    explicit FramePool(int maxBuffers) : m_maxBuffers(maxBuffers) {}

    /// A copy of `region` of `source` (clipped to the frame and to the
    /// source), in a buffer no one else holds.
    FramePatch copy(const QImage &source, const QRegion &region, QSize frameSize);

private:
    struct Slot {
        QImage storage;
        std::atomic<bool> inUse{false};
    };
    /// An image of `size` on a free pooled buffer (or a buffer of its own
    /// when all are taken), handed back to the pool when its last copy goes.
    QImage take(QSize size, QImage::Format format);

    int m_maxBuffers;
    std::vector<std::shared_ptr<Slot>> m_slots;
};

} // namespace tessivo
