#include "platform/MovieWriter.h"

#include <QFile>

namespace tessivo {

MovieWriter::~MovieWriter()
{
    if (m_format && !m_finished) {
        m_format.reset();
        QFile::remove(m_path);
    }
}

int MovieWriter::open(FileType type, bool optimizeForNetwork, const AVCodecParameters *parameters,
                      AVRational timeBase)
{
    AVFormatContext *raw = nullptr;
    const char *name = type == FileType::mpeg4 ? "mp4" : "mov";
    const QByteArray path = QFile::encodeName(m_path);
    int ret = avformat_alloc_output_context2(&raw, nullptr, name, path.constData());
    if (ret < 0)
        return ret;
    m_format.reset(raw);
    m_stream = avformat_new_stream(raw, nullptr);
    if (!m_stream)
        return AVERROR(ENOMEM);
    ret = avcodec_parameters_copy(m_stream->codecpar, parameters);
    if (ret < 0)
        return ret;
    m_stream->codecpar->codec_tag = 0;
    m_stream->time_base = timeBase;
    ret = avio_open(&raw->pb, path.constData(), AVIO_FLAG_WRITE);
    if (ret < 0)
        return ret;
    AVDictionary *options = nullptr;
    if (optimizeForNetwork)
        av_dict_set(&options, "movflags", "+faststart", 0);
    // The track keeps the sources' timescale (the muxer would otherwise pick
    // a multiple of it), so that copied times stay whole ticks.
    av_dict_set_int(&options, "video_track_timescale", timeBase.den, 0);
    ret = avformat_write_header(raw, &options);
    av_dict_free(&options);
    return ret;
}

int MovieWriter::write(AVPacket *packet)
{
    if (packet->pts == AV_NOPTS_VALUE)
        packet->pts = packet->dts;
    if (m_lastPts != AV_NOPTS_VALUE && packet->pts <= m_lastPts)
        packet->pts = m_lastPts + 1; // only sources off the movie clock get here
    packet->dts = packet->pts;
    m_lastPts = packet->pts;
    packet->stream_index = 0;
    packet->pos = -1;
    const int ret = av_write_frame(m_format.get(), packet);
    return ret >= 0 && m_format->pb->error < 0 ? m_format->pb->error : ret;
}

int MovieWriter::finish()
{
    int ret = av_write_trailer(m_format.get());
    if (ret >= 0 && m_format->pb->error < 0)
        ret = m_format->pb->error;
    const int closed = avio_closep(&m_format->pb);
    if (ret >= 0)
        ret = closed;
    if (ret >= 0)
        m_finished = true;
    return ret;
}

} // namespace tessivo
