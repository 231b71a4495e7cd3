// One captured sample: a video frame (an image) with its presentation time.
#pragma once

#include "platform/MediaTime.h"
#include "tessivo_export.h"

#include <QImage>

namespace tessivo {

/// What a recorder delivers; the raw values are the ones hosts see.
enum class SampleBufferType { video = 1, audioApp = 2, audioMic = 3 };

class TESSIVO_EXPORT SampleBuffer
{
public:
    SampleBuffer() = default;
    SampleBuffer(QImage imageBuffer, MediaTime presentationTimeStamp);

    /// The frame's pixels (implicitly shared, never copied by the kit).
    const QImage &imageBuffer() const { return m_image; }
    MediaTime presentationTimeStamp() const { return m_pts; }
    bool isValid() const { return m_pts.isValid(); }

private:
    QImage m_image;
    MediaTime m_pts;
};

} // namespace tessivo
