#include "platform/YuvCanvas.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <cstring>

// This file is built with -O3: the row loops below are vectorised, with an
// AVX2 version chosen at run time where the processor has it.

namespace tessivo {
namespace {

// BT.709 with limited range (16..235, 16..240), 16-bit fixed point; chroma
// is the average of each 2×2 block.
constexpr int kYR = 11966, kYG = 40254, kYB = 4064;
constexpr int kUR = -6596, kUG = -22188, kUB = 28784;
constexpr int kVR = 28784, kVG = -26145, kVB = -2639;

__attribute__((target_clones("avx2", "default"))) void lumaRow(const quint32 *__restrict p,
                                                                quint8 *__restrict y, int width)
{
    for (int x = 0; x < width; ++x) {
        const quint32 c = p[x];
        y[x] = quint8((kYR * int((c >> 16) & 0xff) + kYG * int((c >> 8) & 0xff) + kYB * int(c & 0xff)
                       + (16 << 16) + (1 << 15))
                      >> 16);
    }
}

__attribute__((target_clones("avx2", "default"))) void chromaRow(const quint32 *__restrict a,
                                                                  const quint32 *__restrict b,
                                                                  quint8 *__restrict u,
                                                                  quint8 *__restrict v, int half)
{
    for (int x = 0; x < half; ++x) {
        const quint32 p0 = a[2 * x], p1 = a[2 * x + 1], p2 = b[2 * x], p3 = b[2 * x + 1];
        const int r = int((p0 >> 16) & 0xff) + int((p1 >> 16) & 0xff) + int((p2 >> 16) & 0xff)
                      + int((p3 >> 16) & 0xff);
        const int g = int((p0 >> 8) & 0xff) + int((p1 >> 8) & 0xff) + int((p2 >> 8) & 0xff)
                      + int((p3 >> 8) & 0xff);
        const int bl = int(p0 & 0xff) + int(p1 & 0xff) + int(p2 & 0xff) + int(p3 & 0xff);
        u[x] = quint8((kUR * r + kUG * g + kUB * bl + (128 << 18) + (1 << 17)) >> 18);
        v[x] = quint8((kVR * r + kVG * g + kVB * bl + (128 << 18) + (1 << 17)) >> 18);
    }
}

bool isRgb32(QImage::Format format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32
           || format == QImage::Format_ARGB32_Premultiplied;
}

void freeFrame(const AVFrame *frame)
{
    auto *f = const_cast<AVFrame *>(frame);
    av_frame_free(&f);
}

} // namespace

YuvCanvas::YuvCanvas() : m_frame(av_frame_alloc()) {}

YuvCanvas::~YuvCanvas()
{
    av_frame_free(&m_frame);
}

void YuvCanvas::convert(const QImage &image, const QRegion &region, AVFrame *frame, QPoint frameOffset)
{
    const QRect frameRect(-frameOffset, QSize(frame->width, frame->height) );
    for (const QRect &area : region) {
        const QRect rect = area & image.rect() & frameRect;
        const int x0 = rect.x() & ~1;
        const int y0 = rect.y() & ~1;
        const int width = (rect.x() + rect.width() - x0) & ~1;
        const int height = (rect.y() + rect.height() - y0) & ~1;
        const int fx = x0 + frameOffset.x();
        const int fy = y0 + frameOffset.y();
        for (int row = 0; row + 1 < height; row += 2) {
            const auto *a = reinterpret_cast<const quint32 *>(image.constScanLine(y0 + row)) + x0;
            const auto *b = reinterpret_cast<const quint32 *>(image.constScanLine(y0 + row + 1)) + x0;
            quint8 *y = frame->data[0] + (fy + row) * frame->linesize[0] + fx;
            lumaRow(a, y, width);
            lumaRow(b, y + frame->linesize[0], width);
            chromaRow(a, b, frame->data[1] + (fy + row) / 2 * frame->linesize[1] + fx / 2,
                      frame->data[2] + (fy + row) / 2 * frame->linesize[2] + fx / 2, width / 2);
        }
    }
}

bool YuvCanvas::startFrame(QSize size, bool clear)
{
    av_frame_unref(m_frame);
    m_frame->format = AV_PIX_FMT_YUV420P;
    m_frame->width = size.width();
    m_frame->height = size.height();
    if (av_frame_get_buffer(m_frame, 0) < 0)
        return false;
    if (clear) {
        for (int p = 0; p < 3; ++p) {
            const int rows = p == 0 ? size.height() : size.height() / 2;
            std::memset(m_frame->data[p], p == 0 ? 16 : 128, size_t(m_frame->linesize[p]) * rows);
        }
    }
    return true;
}

std::shared_ptr<const AVFrame> YuvCanvas::apply(const FramePatch &patch)
{
    if (patch.isNull() || patch.frameSize.width() < 2 || patch.frameSize.height() < 2)
        return nullptr;
    const bool sameSize = m_frame->buf[0] && m_frame->width == patch.frameSize.width()
                          && m_frame->height == patch.frameSize.height();
    bool ready = false;
    if (!sameSize)
        ready = startFrame(patch.frameSize, !patch.coversFrame());
    else if (patch.coversFrame())
        ready = av_frame_is_writable(m_frame) || startFrame(patch.frameSize, false);
    else
        ready = av_frame_make_writable(m_frame) >= 0; // copies planes still held by a picture
    if (!ready)
        return nullptr;
    const QImage image = isRgb32(patch.image.format()) ? patch.image
                                                       : patch.image.convertToFormat(QImage::Format_RGB32);
    convert(image, patch.toImage(patch.region), m_frame, patch.origin);
    AVFrame *picture = av_frame_clone(m_frame);
    if (!picture)
        return nullptr;
    return std::shared_ptr<const AVFrame>(picture, freeFrame);
}

} // namespace tessivo
