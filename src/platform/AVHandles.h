// Owning handles for FFmpeg objects, so that every context is released on
// every path. Internal to the platform layer.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <QByteArray>
#include <QString>

#include <memory>

namespace tessivo {

struct InputFormatDeleter {
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
/// A demuxer opened with avformat_open_input.
using InputFormatHandle = std::unique_ptr<AVFormatContext, InputFormatDeleter>;

struct OutputFormatDeleter {
    void operator()(AVFormatContext *context) const
    {
        if (context->pb && !(context->oformat->flags & AVFMT_NOFILE))
            avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
/// A muxer made with avformat_alloc_output_context2; closes its file too.
using OutputFormatHandle = std::unique_ptr<AVFormatContext, OutputFormatDeleter>;

struct CodecContextDeleter {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
using CodecContextHandle = std::unique_ptr<AVCodecContext, CodecContextDeleter>;

struct PacketDeleter {
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
using PacketHandle = std::unique_ptr<AVPacket, PacketDeleter>;

struct FrameDeleter {
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
using FrameHandle = std::unique_ptr<AVFrame, FrameDeleter>;

struct ScalerDeleter {
    void operator()(SwsContext *context) const { sws_freeContext(context); }
};
using ScalerHandle = std::unique_ptr<SwsContext, ScalerDeleter>;

inline PacketHandle makePacket() { return PacketHandle(av_packet_alloc()); }
inline FrameHandle makeFrame() { return FrameHandle(av_frame_alloc()); }

/// Opens a QuickTime or MPEG-4 movie for reading. Other content is not
/// guessed at: whatever is not such a movie fails to open.
inline InputFormatHandle openMovieInput(const QByteArray &path, int *averror)
{
    AVFormatContext *raw = nullptr;
    *averror = avformat_open_input(&raw, path.constData(), av_find_input_format("mov"), nullptr);
    return InputFormatHandle(*averror < 0 ? nullptr : raw);
}

/// FFmpeg's sentence for an error code.
inline QString averrorText(int averror)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(averror, text, sizeof text);
    return QString::fromUtf8(text);
}

} // namespace tessivo
