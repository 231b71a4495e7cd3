// One captured sample: a video frame with its presentation time. The frame
// is either an image (converted when it is encoded) or a picture already in
// the encoder's YUV 4:2:0 layout, as the recorder makes them.
#pragma once

#include "platform/MediaTime.h"
#include "tessivo_export.h"

#include <QImage>
#include <QSize>

#include <memory>

struct AVFrame;

namespace tessivo {

/// What a recorder delivers; the raw values are the ones hosts see.
enum class SampleBufferType { video = 1, audioApp = 2, audioMic = 3 };

class TESSIVO_EXPORT SampleBuffer
{
public:
    SampleBuffer() = default;
    SampleBuffer(QImage imageBuffer, MediaTime presentationTimeStamp);
    /// A YUV 4:2:0 picture; its planes are shared, never written again by
    /// whoever made it (the sample holds its own frame reference).
    SampleBuffer(std::shared_ptr<const AVFrame> pixelBuffer, MediaTime presentationTimeStamp);

    /// The frame's pixels when the sample is an image (implicitly shared,
    /// never copied by the kit); null for a YUV sample.
    const QImage &imageBuffer() const { return m_image; }
    /// The frame's YUV picture, when the sample is one.
    const std::shared_ptr<const AVFrame> &pixelBuffer() const { return m_pixels; }
    /// True when there is a picture of either kind.
    bool hasPicture() const { return !m_image.isNull() || m_pixels; }
    /// The picture's size in pixels.
    QSize pictureSize() const;
    MediaTime presentationTimeStamp() const { return m_pts; }
    bool isValid() const { return m_pts.isValid(); }

private:
    QImage m_image;
    std::shared_ptr<const AVFrame> m_pixels;
    MediaTime m_pts;
};

} // namespace tessivo
