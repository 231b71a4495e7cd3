#include "platform/SampleBuffer.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace tessivo {

SampleBuffer::SampleBuffer(QImage imageBuffer, MediaTime presentationTimeStamp)
    : m_image(std::move(imageBuffer)), m_pts(presentationTimeStamp)
{
}

SampleBuffer::SampleBuffer(std::shared_ptr<const AVFrame> pixelBuffer, MediaTime presentationTimeStamp)
    : m_pixels(std::move(pixelBuffer)), m_pts(presentationTimeStamp)
{
}

QSize SampleBuffer::pictureSize() const
{
    if (m_pixels)
        return QSize(m_pixels->width, m_pixels->height);
    return m_image.size();
}

} // namespace tessivo
