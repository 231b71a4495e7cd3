#include "platform/AssetWriterInput.h"

#include "platform/MovieEncoder.h"

namespace tessivo {

AssetWriterInput::AssetWriterInput(MediaType mediaType, VideoOutputSettings outputSettings)
    : m_mediaType(mediaType), m_settings(outputSettings)
{
}

AssetWriterInput::~AssetWriterInput() = default;

void AssetWriterInput::attach(std::shared_ptr<MovieEncoder> encoder)
{
    QMutexLocker lock(&m_mutex);
    m_encoder = std::move(encoder);
}

std::shared_ptr<MovieEncoder> AssetWriterInput::encoder() const
{
    QMutexLocker lock(&m_mutex);
    return m_encoder;
}

bool AssetWriterInput::isReadyForMoreMediaData() const
{
    if (m_finished)
        return false;
    const auto enc = encoder();
    return enc && enc->isReadyForMoreFrames();
}

bool AssetWriterInput::append(const SampleBuffer &sampleBuffer)
{
    if (m_finished)
        return false;
    const auto enc = encoder();
    return enc && enc->enqueue(sampleBuffer);
}

void AssetWriterInput::markAsFinished()
{
    m_finished = true;
}

} // namespace tessivo
