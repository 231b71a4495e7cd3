#include "platform/AssetWriter.h"

#include "platform/AssetWriterInput.h"
#include "platform/MovieEncoder.h"

namespace tessivo {

std::shared_ptr<AssetWriter> AssetWriter::create(const QUrl &outputURL, FileType fileType,
                                                 MediaError *error)
{
    if (fileType != FileType::quickTimeMovie) {
        if (error) {
            *error = {QStringLiteral("AssetWriterErrorDomain"), -11800,
                      QStringLiteral("The writer makes QuickTime movies only")};
        }
        return nullptr;
    }
    if (!outputURL.isLocalFile() || outputURL.toLocalFile().isEmpty()) {
        if (error) {
            *error = {QStringLiteral("AssetWriterErrorDomain"), -11800,
                      QStringLiteral("The output location %1 is not a local file")
                          .arg(outputURL.toDisplayString())};
        }
        return nullptr;
    }
    return std::shared_ptr<AssetWriter>(new AssetWriter(outputURL, fileType));
}

AssetWriter::AssetWriter(QUrl url, FileType fileType)
    : m_url(std::move(url)), m_fileType(fileType),
      m_encoder(std::make_shared<MovieEncoder>(m_url.toLocalFile()))
{
}

AssetWriter::~AssetWriter()
{
    // A writer dropped while writing stops its thread; the file is left as
    // it is (a later writer may already own the same path).
    m_encoder->abandon();
}

AssetWriter::Status AssetWriter::status() const
{
    return m_encoder->status();
}

std::optional<MediaError> AssetWriter::error() const
{
    return m_encoder->error();
}

bool AssetWriter::canAdd(const std::shared_ptr<AssetWriterInput> &input) const
{
    return input && !m_input && input->mediaType() == MediaType::video
           && status() == Status::unknown;
}

void AssetWriter::add(std::shared_ptr<AssetWriterInput> input)
{
    if (!canAdd(input))
        return;
    input->attach(m_encoder);
    m_input = std::move(input);
}

bool AssetWriter::startWriting()
{
    if (status() != Status::unknown)
        return false;
    if (!m_input) {
        m_encoder->fail({QStringLiteral("AssetWriterErrorDomain"), -11800,
                         QStringLiteral("The writer has no input")});
        return false;
    }
    const auto &settings = m_input->outputSettings();
    return m_encoder->start(static_cast<int>(settings.width), static_cast<int>(settings.height),
                            m_input->expectsMediaDataInRealTime());
}

void AssetWriter::startSession(MediaTime sourceTime)
{
    m_encoder->setSessionStart(sourceTime);
}

void AssetWriter::endSession(MediaTime sourceTime)
{
    m_encoder->setSessionEnd(sourceTime);
}

void AssetWriter::finishWriting(std::function<void()> completion)
{
    if (m_input)
        m_input->markAsFinished();
    m_encoder->finish(std::move(completion));
}

void AssetWriter::cancelWriting()
{
    m_encoder->cancel();
}

} // namespace tessivo
