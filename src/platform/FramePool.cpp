#include "platform/FramePool.h"

#include <cstring>

namespace tessivo {

QImage FramePool::copy(const QImage &source, const QRect &rect)
{
    const QRect area = rect & source.rect();
    if (area.isEmpty())
        return {};
    if (source.depth() < 8)
        return source.copy(area);
    QImage *target = nullptr;
    for (QImage &buffer : m_buffers) {
        // Detached: every frame handed out from this buffer has been released.
        if (buffer.isDetached()) {
            if (buffer.size() != area.size() || buffer.format() != source.format())
                buffer = QImage(area.size(), source.format());
            target = &buffer;
            break;
        }
    }
    QImage unpooled;
    if (!target) {
        if (static_cast<int>(m_buffers.size()) < m_maxBuffers) {
            m_buffers.emplace_back(area.size(), source.format());
            target = &m_buffers.back();
        } else {
            unpooled = QImage(area.size(), source.format());
            target = &unpooled;
        }
    }
    if (target->isNull())
        return {};
    const int bytesPerPixel = source.depth() / 8;
    const size_t rowBytes = static_cast<size_t>(area.width()) * bytesPerPixel;
    const size_t offset = static_cast<size_t>(area.x()) * bytesPerPixel;
    for (int y = 0; y < area.height(); ++y)
        std::memcpy(target->scanLine(y), source.constScanLine(area.y() + y) + offset, rowBytes);
    return *target;
}

} // namespace tessivo
