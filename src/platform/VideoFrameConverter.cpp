#include "platform/VideoFrameConverter.h"

#include <QTransform>
#include <QVideoFrameFormat>

extern "C" {
#include <libswscale/swscale.h>
}

#include <array>

namespace tessivo {
namespace {

struct Layout {
    AVPixelFormat format = AV_PIX_FMT_NONE;
    std::array<int, 3> planes{0, 1, 2}; // frame plane for each FFmpeg plane
    bool isYuv = true;
};

/// How FFmpeg reads a frame's pixels; AV_PIX_FMT_NONE for layouts it does
/// not know (compressed or GPU-only frames).
Layout layoutOf(QVideoFrameFormat::PixelFormat format)
{
    using F = QVideoFrameFormat;
    switch (format) {
    case F::Format_YUV420P: return {AV_PIX_FMT_YUV420P};
    case F::Format_YV12: return {AV_PIX_FMT_YUV420P, {0, 2, 1}};
    case F::Format_YUV422P: return {AV_PIX_FMT_YUV422P};
    case F::Format_YUV420P10: return {AV_PIX_FMT_YUV420P10LE};
    case F::Format_NV12: return {AV_PIX_FMT_NV12};
    case F::Format_NV21: return {AV_PIX_FMT_NV21};
    case F::Format_P010: return {AV_PIX_FMT_P010LE};
    case F::Format_P016: return {AV_PIX_FMT_P016LE};
    case F::Format_UYVY: return {AV_PIX_FMT_UYVY422};
    case F::Format_YUYV: return {AV_PIX_FMT_YUYV422};
    case F::Format_Y8: return {AV_PIX_FMT_GRAY8};
    case F::Format_Y16: return {AV_PIX_FMT_GRAY16LE};
    // Byte orders as named; the X variants carry no alpha.
    case F::Format_ARGB8888:
    case F::Format_ARGB8888_Premultiplied: return {AV_PIX_FMT_ARGB, {0, 1, 2}, false};
    case F::Format_XRGB8888: return {AV_PIX_FMT_0RGB, {0, 1, 2}, false};
    case F::Format_BGRA8888:
    case F::Format_BGRA8888_Premultiplied: return {AV_PIX_FMT_BGRA, {0, 1, 2}, false};
    case F::Format_BGRX8888: return {AV_PIX_FMT_BGR0, {0, 1, 2}, false};
    case F::Format_ABGR8888: return {AV_PIX_FMT_ABGR, {0, 1, 2}, false};
    case F::Format_XBGR8888: return {AV_PIX_FMT_0BGR, {0, 1, 2}, false};
    case F::Format_RGBA8888: return {AV_PIX_FMT_RGBA, {0, 1, 2}, false};
    case F::Format_RGBX8888: return {AV_PIX_FMT_RGB0, {0, 1, 2}, false};
    default: return {};
    }
}

int coefficientsOf(QVideoFrameFormat::ColorSpace space, int height)
{
    switch (space) {
    case QVideoFrameFormat::ColorSpace_BT601: return SWS_CS_ITU601;
    case QVideoFrameFormat::ColorSpace_BT709: return SWS_CS_ITU709;
    case QVideoFrameFormat::ColorSpace_BT2020: return SWS_CS_BT2020;
    default: return height >= 720 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    }
}

} // namespace

VideoFrameConverter::~VideoFrameConverter()
{
    sws_freeContext(m_scaler);
}

QImage VideoFrameConverter::convert(const QVideoFrame &source)
{
    if (!source.isValid())
        return {};
    const QVideoFrameFormat surface = source.surfaceFormat();
    const Layout layout = layoutOf(source.pixelFormat());
    const QSize size = source.size();
    if (layout.format == AV_PIX_FMT_NONE || size.isEmpty())
        return {};
    const bool fullRange = layout.isYuv ? surface.colorRange() == QVideoFrameFormat::ColorRange_Full : true;
    const int colourSpace = coefficientsOf(surface.colorSpace(), size.height());
    if (!m_scaler || size != m_size || layout.format != m_format || colourSpace != m_colourSpace
        || fullRange != m_fullRange) {
        sws_freeContext(m_scaler);
        // Accurate rounding also keeps libswscale off its unscaled fast path,
        // which leaves the last columns of a width that is not a multiple of
        // 8 unconverted.
        m_scaler = sws_getContext(size.width(), size.height(), layout.format, size.width(), size.height(),
                                  AV_PIX_FMT_RGB32, SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
        if (!m_scaler)
            return {};
        sws_setColorspaceDetails(m_scaler, sws_getCoefficients(colourSpace), fullRange ? 1 : 0,
                                 sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
        m_size = size;
        m_format = layout.format;
        m_colourSpace = colourSpace;
        m_fullRange = fullRange;
    }

    QVideoFrame frame = source; // mapping needs a non-const handle; the pixels are shared
    if (!frame.map(QVideoFrame::ReadOnly))
        return {};
    const uint8_t *planes[4] = {};
    int strides[4] = {};
    for (int i = 0; i < 3; ++i) {
        const int plane = layout.planes[size_t(i)];
        if (plane < frame.planeCount()) {
            planes[i] = frame.bits(plane);
            strides[i] = frame.bytesPerLine(plane);
        }
    }
    QImage image(size, QImage::Format_ARGB32);
    uint8_t *target[4] = {image.bits()};
    const int targetStrides[4] = {int(image.bytesPerLine())};
    const int rows = sws_scale(m_scaler, planes, strides, 0, size.height(), target, targetStrides);
    frame.unmap();
    if (rows != size.height())
        return {};
    if (layout.isYuv) // opaque: paint it as such
        image.reinterpretAsFormat(QImage::Format_RGB32);

    // Upright: rows stored bottom first, mirrored or rotated frames.
    const bool flipRows = surface.scanLineDirection() == QVideoFrameFormat::BottomToTop;
    const bool flipColumns = surface.isMirrored() || source.mirrored();
    if (flipRows || flipColumns)
        image = image.mirrored(flipColumns, flipRows);
    if (const int angle = int(source.rotationAngle()); angle != 0)
        image = image.transformed(QTransform().rotate(angle));
    return image;
}

} // namespace tessivo
