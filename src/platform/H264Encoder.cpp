#include "platform/H264Encoder.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace tessivo {

CodecContextHandle H264Encoder::open(QSize size, bool globalHeader, int *averror, QString *message)
{
    auto fail = [&](int code, const QString &text) {
        if (averror)
            *averror = code;
        if (message)
            *message = text;
        return CodecContextHandle();
    };
    const AVCodec *h264 = avcodec_find_encoder_by_name("libx264");
    if (!h264)
        return fail(AVERROR_ENCODER_NOT_FOUND, QStringLiteral("No H.264 encoder available"));
    CodecContextHandle enc(avcodec_alloc_context3(h264));
    if (!enc)
        return fail(AVERROR(ENOMEM), QStringLiteral("Out of memory for the encoder"));
    enc->width = size.width();
    enc->height = size.height();
    enc->pix_fmt = AV_PIX_FMT_YUV420P;
    enc->time_base = kTimeBase;
    enc->framerate = kNominalFrameRate;
    enc->gop_size = 60;
    enc->max_b_frames = 0;
    // Slices on two threads only where one thread cannot keep up with the
    // movie clock (above about 1080p); below that a second slice costs
    // more CPU than it saves time.
    enc->thread_count = size.width() * size.height() > 1920 * 1200 ? 2 : 1;
    enc->colorspace = AVCOL_SPC_BT709;
    enc->color_primaries = AVCOL_PRI_BT709;
    enc->color_trc = AVCOL_TRC_BT709;
    enc->color_range = AVCOL_RANGE_MPEG;
    if (globalHeader)
        enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary *options = nullptr;
    av_dict_set(&options, "preset", "ultrafast", 0);
    av_dict_set(&options, "tune", "zerolatency", 0);
    // A constant quantiser: no rate control, so no analysis of a
    // half-size copy of each frame. At 15, interface screens decode at
    // least as sharp as with CRF 23, for less CPU (docs/PERFORMANCE.md).
    av_dict_set(&options, "qp", "15", 0);
    av_dict_set(&options, "forced-idr", "1", 0);
    const int ret = avcodec_open2(enc.get(), h264, &options);
    av_dict_free(&options);
    if (ret < 0)
        return fail(ret, QStringLiteral("Cannot open the H.264 encoder: ") + averrorText(ret));
    return enc;
}

} // namespace tessivo
