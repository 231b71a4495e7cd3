// Writes video frames to a QuickTime movie (H.264) on its own encoding
// thread: statuses 0 to 4, startWriting, startSession(atSourceTime:),
// appends through its input, finishWriting.
#pragma once

#include "platform/MediaError.h"
#include "platform/MediaTime.h"
#include "tessivo_export.h"

#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace tessivo {

class AssetWriterInput;
class MovieEncoder;

enum class AssetWriterStatus { unknown = 0, writing = 1, completed = 2, failed = 3, cancelled = 4 };

/// Movie containers: the writer makes QuickTime movies; exports make
/// either.
enum class FileType { quickTimeMovie, mpeg4 };

class TESSIVO_EXPORT AssetWriter
{
public:
    using Status = AssetWriterStatus;

    /// A writer for a local file. Nothing touches the disk before
    /// startWriting. Null, with `error` filled, when the URL is not a local
    /// file.
    static std::shared_ptr<AssetWriter> create(const QUrl &outputURL, FileType fileType,
                                               MediaError *error = nullptr);
    ~AssetWriter();
    AssetWriter(const AssetWriter &) = delete;
    AssetWriter &operator=(const AssetWriter &) = delete;

    QUrl outputURL() const { return m_url; }
    FileType outputFileType() const { return m_fileType; }
    Status status() const;
    /// Set once the status is failed.
    std::optional<MediaError> error() const;

    /// One video input per writer, added before startWriting.
    bool canAdd(const std::shared_ptr<AssetWriterInput> &input) const;
    void add(std::shared_ptr<AssetWriterInput> input);

    /// Opens the file and the encoder (this touches the disk: call it off the
    /// GUI thread). Status becomes writing, or failed with error().
    bool startWriting();
    /// Frames are timed from this source time on; earlier ones are dropped.
    void startSession(MediaTime sourceTime);
    /// The movie ends at this source time: the last frame lasts until then
    /// (at least one tick). Without it, the last frame lasts as long as the
    /// one before it.
    void endSession(MediaTime sourceTime);
    /// Drains the encoder and closes the file. `completion` runs on the
    /// encoding thread once the status is completed or failed; it also runs
    /// (at once, on the calling thread) when the writer was not writing.
    void finishWriting(std::function<void()> completion);
    /// Stops writing and removes the partial file; status cancelled.
    void cancelWriting();

private:
    AssetWriter(QUrl url, FileType fileType);

    const QUrl m_url;
    const FileType m_fileType;
    std::shared_ptr<AssetWriterInput> m_input;
    std::shared_ptr<MovieEncoder> m_encoder;
};

} // namespace tessivo
