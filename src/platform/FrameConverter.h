// Turns captured images into the encoder's YUV 4:2:0 frames (libswscale):
// colour conversion, and for images or YUV pictures of another size,
// scaling to fit with black borders. Used on the encoding thread only.
#pragma once

#include <QImage>
#include <QRect>
#include <QSize>

struct AVFrame;
struct SwsContext;

namespace tessivo {

class FrameConverter
{
public:
    explicit FrameConverter(QSize frameSize) : m_frameSize(frameSize) {}
    ~FrameConverter();
    FrameConverter(const FrameConverter &) = delete;
    FrameConverter &operator=(const FrameConverter &) = delete;

    /// Fills `frame` (writable, YUV 4:2:0, frameSize) from `image`. False
    /// when the image cannot be converted.
    bool convert(const QImage &image, AVFrame *frame);
    /// The same from a YUV 4:2:0 picture of another size.
    bool convert(const AVFrame &picture, AVFrame *frame);

    /// Where an image of `source` size lands in a `target` frame: scaled to
    /// fit, centred, on even coordinates so that the chroma planes line up.
    static QRect fitRect(QSize source, QSize target);

private:
    bool scale(const quint8 *const source[4], const int stride[4], QSize size, int format, AVFrame *frame);

    const QSize m_frameSize;
    SwsContext *m_scaler = nullptr;
    QSize m_sourceSize;
    int m_sourceFormat = -1;
    QRect m_target;
};

} // namespace tessivo
