#include "platform/SampleBuffer.h"

namespace tessivo {

SampleBuffer::SampleBuffer(QImage imageBuffer, MediaTime presentationTimeStamp)
    : m_image(std::move(imageBuffer)), m_pts(presentationTimeStamp)
{
}

} // namespace tessivo
