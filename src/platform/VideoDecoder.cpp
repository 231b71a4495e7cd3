#include "platform/VideoDecoder.h"

namespace tessivo {

std::unique_ptr<VideoDecoder> VideoDecoder::open(const AVCodecParameters *parameters, QString *message)
{
    const AVCodec *codec = avcodec_find_decoder(parameters->codec_id);
    if (!codec) {
        if (message)
            *message = QStringLiteral("No decoder for this video");
        return nullptr;
    }
    auto decoder = std::unique_ptr<VideoDecoder>(new VideoDecoder);
    decoder->m_context.reset(avcodec_alloc_context3(codec));
    AVCodecContext *context = decoder->m_context.get();
    int ret = context ? avcodec_parameters_to_context(context, parameters) : AVERROR(ENOMEM);
    if (ret >= 0) {
        // Slices, not frames: frame threads would hold frames back.
        context->thread_type = FF_THREAD_SLICE;
        context->thread_count = 2;
        ret = avcodec_open2(context, codec, nullptr);
    }
    if (ret < 0) {
        if (message)
            *message = QStringLiteral("Cannot open the video decoder: ") + averrorText(ret);
        return nullptr;
    }
    return decoder;
}

int VideoDecoder::decode(const AVPacket *packet, std::vector<FrameHandle> &frames)
{
    int ret = avcodec_send_packet(m_context.get(), packet);
    if (ret < 0 && ret != AVERROR_EOF)
        return ret;
    for (;;) {
        FrameHandle frame = makeFrame();
        ret = avcodec_receive_frame(m_context.get(), frame.get());
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
            return 0;
        if (ret < 0)
            return ret;
        frames.push_back(std::move(frame));
    }
}

QImage VideoDecoder::toImage(const AVFrame *frame, ScalerHandle &scaler)
{
    QImage image(frame->width, frame->height, QImage::Format_RGB32);
    if (image.isNull())
        return {};
    const AVPixelFormat target = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? AV_PIX_FMT_BGRA : AV_PIX_FMT_ARGB;
    scaler.reset(sws_getCachedContext(scaler.release(), frame->width, frame->height,
                                        static_cast<AVPixelFormat>(frame->format), frame->width,
                                        frame->height, target, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler)
        return {};
    // The frame's own colour matrix and range (the kit's movies are BT.709,
    // limited range).
    const int matrix = frame->colorspace == AVCOL_SPC_BT709 ? SWS_CS_ITU709
                       : frame->colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT
                                                                    : int(frame->colorspace);
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(matrix), frame->color_range == AVCOL_RANGE_JPEG,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
    uint8_t *planes[4] = {image.bits(), nullptr, nullptr, nullptr};
    const int strides[4] = {static_cast<int>(image.bytesPerLine()), 0, 0, 0};
    sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, planes, strides);
    return image;
}

} // namespace tessivo
