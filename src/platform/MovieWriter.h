// The movie an export writes: one video stream muxed as QuickTime or
// MPEG-4, its timestamps kept rising. The file is removed unless it is
// finished. Internal to the platform layer.
#pragma once

#include "platform/AVHandles.h"
#include "platform/AssetWriter.h"

namespace tessivo {

class MovieWriter
{
public:
    explicit MovieWriter(QString path) : m_path(std::move(path)) {}
    ~MovieWriter();
    MovieWriter(const MovieWriter &) = delete;
    MovieWriter &operator=(const MovieWriter &) = delete;

    /// Creates the file with a stream of `parameters` whose timescale is
    /// `timeBase`; `optimizeForNetwork` puts the index first. An FFmpeg
    /// error code on failure.
    int open(FileType type, bool optimizeForNetwork, const AVCodecParameters *parameters, AVRational timeBase);

    AVRational timeBase() const { return m_stream->time_base; }
    const AVCodecParameters *parameters() const { return m_stream->codecpar; }

    /// Writes one packet timed on timeBase(). There are no B-frames, so
    /// packets are decoded in the order they are shown: the decoding time
    /// is the presentation time.
    int write(AVPacket *packet);
    int finish();

private:
    QString m_path;
    OutputFormatHandle m_format;
    AVStream *m_stream = nullptr;
    qint64 m_lastPts = AV_NOPTS_VALUE;
    bool m_finished = false;
};

} // namespace tessivo
