// Decodes the packets of one video stream into frames, and turns frames
// into images. Internal to the platform layer.
#pragma once

#include "platform/AVHandles.h"

#include <QImage>

#include <memory>
#include <vector>

namespace tessivo {

class VideoDecoder
{
public:
    /// A decoder for a stream with these parameters; null, with `message`
    /// filled, when none is available.
    static std::unique_ptr<VideoDecoder> open(const AVCodecParameters *parameters, QString *message);

    /// Decodes `packet` (null drains the decoder) and appends every frame
    /// that comes out to `frames`. A negative FFmpeg error on failure.
    int decode(const AVPacket *packet, std::vector<FrameHandle> &frames);

    /// The frame's pixels as a 32-bit RGB image of the same size; `scaler`
    /// is kept between calls.
    static QImage toImage(const AVFrame *frame, ScalerHandle &scaler);

private:
    CodecContextHandle m_context;
};

} // namespace tessivo
