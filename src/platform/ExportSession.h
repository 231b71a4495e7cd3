// Renders a Composition (or one movie) to a movie file on a worker thread.
// Encoded packets pass through untouched wherever the sources share one
// format description: a cut that starts inside a group of pictures keeps
// that group's leading frames hidden behind an edit list when it opens the
// movie, and re-encodes only that partial group (a smart cut) anywhere
// else. Sources of different formats are re-encoded as a whole.
#pragma once

#include "platform/AssetWriter.h"
#include "platform/Composition.h"
#include "platform/MediaError.h"
#include "tessivo_export.h"

#include <QMutex>
#include <QUrl>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tessivo {

struct ExportPiece;

enum class ExportSessionStatus { unknown = 0, waiting = 1, exporting = 2, completed = 3, failed = 4, cancelled = 5 };

/// The only preset: the best the sources allow, which is their own packets
/// (no generation loss).
enum class ExportPreset { highestQuality };

class TESSIVO_EXPORT ExportSession : public std::enable_shared_from_this<ExportSession>
{
public:
    using Status = ExportSessionStatus;

    /// An export of `composition`; null when it has no video to export.
    static std::shared_ptr<ExportSession> create(std::shared_ptr<const Composition> composition,
                                                 ExportPreset preset);
    /// An export of a whole movie's first video track; null when the movie
    /// cannot be read.
    static std::shared_ptr<ExportSession> create(const MediaAsset &asset, ExportPreset preset);
    ~ExportSession();

    // Set before exporting.
    void setOutputURL(const QUrl &url) { m_outputURL = url; }
    QUrl outputURL() const { return m_outputURL; }
    void setOutputFileType(FileType type) { m_fileType = type; }
    FileType outputFileType() const { return m_fileType; }
    /// Puts the movie's index (moov) before its media data.
    void setShouldOptimizeForNetworkUse(bool optimize) { m_optimizeForNetwork = optimize; }
    bool shouldOptimizeForNetworkUse() const { return m_optimizeForNetwork; }
    /// The part of the composition to export; the whole by default.
    void setTimeRange(std::optional<MediaTimeRange> range) { m_timeRange = range; }
    std::optional<MediaTimeRange> timeRange() const { return m_timeRange; }

    /// Exports on a worker thread of its own; `completion` runs there once
    /// the status is completed or failed. Once per session.
    void exportAsynchronously(std::function<void()> completion);

    Status status() const { return m_status.load(); }
    std::optional<MediaError> error() const;

    struct Statistics {
        qint64 packetsCopied = 0;
        /// Frames decoded and encoded again (smart cuts, or everything when
        /// the sources differ in format).
        qint64 framesReencoded = 0;
        bool reencodedEverything = false;
    };
    Statistics statistics() const;

private:
    explicit ExportSession(std::shared_ptr<const Composition> composition);
    enum class Outcome { done, failed, needsReencoding };

    void run();
    /// Copies the pieces' packets (ExportSessionPacketCopy.cpp).
    Outcome exportPassingThrough(const std::vector<ExportPiece> &pieces);
    Outcome exportReencoding(const std::vector<ExportPiece> &pieces);
    void fail(int code, const QString &text);

    const std::shared_ptr<const Composition> m_composition;
    QUrl m_outputURL;
    FileType m_fileType = FileType::quickTimeMovie;
    bool m_optimizeForNetwork = false;
    std::optional<MediaTimeRange> m_timeRange;

    std::atomic<Status> m_status{Status::unknown};
    mutable QMutex m_mutex;
    std::optional<MediaError> m_error;
    Statistics m_statistics;
};

} // namespace tessivo
