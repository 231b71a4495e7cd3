#include "platform/FramePool.h"

#include <cstring>

namespace tessivo {

QImage FramePool::take(QSize size, QImage::Format format)
{
    // A free buffer at least as large is reused (its spare rows and columns
    // are never read), so patches that change size do not reallocate.
    std::shared_ptr<Slot> slot;
    std::shared_ptr<Slot> spare;
    for (const auto &candidate : m_slots) {
        if (candidate->inUse)
            continue;
        const QImage &s = candidate->storage;
        if (s.format() == format && s.width() >= size.width() && s.height() >= size.height()) {
            slot = candidate;
            break;
        }
        spare = candidate;
    }
    if (!slot && spare) {
        spare->storage = QImage(size, format);
        slot = spare;
    }
    if (!slot && static_cast<int>(m_slots.size()) < m_maxBuffers) {
        slot = std::make_shared<Slot>();
        slot->storage = QImage(size, format);
        m_slots.push_back(slot);
    }
    if (!slot)
        return QImage(size, format);
    if (slot->storage.isNull())
        return {};
    slot->inUse = true;
    auto *keep = new std::shared_ptr<Slot>(slot); // released with the image's last copy
    return QImage(
        slot->storage.bits(), size.width(), size.height(), slot->storage.bytesPerLine(), format,
        [](void *info) {
            auto *held = static_cast<std::shared_ptr<Slot> *>(info);
            (*held)->inUse = false;
            delete held;
        },
        keep);
}

FramePatch FramePool::copy(const QImage &source, const QRegion &region, QSize frameSize)
{
    FramePatch patch;
    patch.frameSize = frameSize;
    patch.region = region & (QRect(QPoint(0, 0), frameSize) & source.rect());
    if (patch.region.isEmpty() || source.depth() < 8)
        return {};
    const QRect bounds = patch.region.boundingRect();
    patch.origin = bounds.topLeft();
    patch.image = take(bounds.size(), source.format());
    if (patch.image.isNull())
        return {};
    const int bytesPerPixel = source.depth() / 8;
    for (const QRect &rect : patch.region) {
        const size_t rowBytes = static_cast<size_t>(rect.width()) * bytesPerPixel;
        const size_t from = static_cast<size_t>(rect.x()) * bytesPerPixel;
        const size_t to = static_cast<size_t>(rect.x() - bounds.x()) * bytesPerPixel;
        for (int y = rect.top(); y <= rect.bottom(); ++y)
            std::memcpy(patch.image.scanLine(y - bounds.y()) + to, source.constScanLine(y) + from, rowBytes);
    }
    return patch;
}

} // namespace tessivo
