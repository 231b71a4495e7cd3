// Turns a player's video frames into images on the CPU (libswscale), for
// painting by a widget. QVideoFrame::toImage() is not used: on a display
// with OpenGL (X11, Wayland) Qt 6.4 converts through a GPU context of its
// own with a read-back per frame, and a program that called it from the
// sink's frame signal with the GStreamer backend on X11 saw the stream stop
// with "Internal data stream error." after the first frame. The CPU path
// needs no GPU context and is the same on every platform.
#pragma once

#include <QImage>
#include <QSize>
#include <QVideoFrame>

struct SwsContext;

namespace tessivo {

class VideoFrameConverter
{
public:
    VideoFrameConverter() = default;
    ~VideoFrameConverter();
    VideoFrameConverter(const VideoFrameConverter &) = delete;
    VideoFrameConverter &operator=(const VideoFrameConverter &) = delete;

    /// The frame as an RGB32 image, upright; null when the frame is empty
    /// or its pixels cannot be read.
    QImage convert(const QVideoFrame &frame);

private:
    SwsContext *m_scaler = nullptr;
    QSize m_size;
    int m_format = -1;
    int m_colourSpace = -1;
    bool m_fullRange = false;
};

} // namespace tessivo
