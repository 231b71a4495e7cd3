// Reusable frame buffers for the recorder: copying a painted window into a
// buffer that was used before avoids fresh allocations (and their page
// faults) on the GUI thread for every frame.
#pragma once

#include <QImage>

#include <vector>

namespace tessivo {

class FramePool
{
public:
    explicit FramePool(int maxBuffers) : m_maxBuffers(maxBuffers) {}

    /// A copy of `rect` of `source`, in a buffer no one else holds.
    QImage copy(const QImage &source, const QRect &rect);

private:
    int m_maxBuffers;
    std::vector<QImage> m_buffers;
};

} // namespace tessivo
