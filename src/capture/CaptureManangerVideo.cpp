// The capture manager's video report operations: the join and the cut of
// recording segments, the metadata clip and its merge, the still frame,
// and the video and screenshot options that use them.
#include "capture/CaptureMananger.h"

#include "capture/FileUtil.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "metadata/VideoMetadataView.h"
#include "platform/AssetImageGenerator.h"
#include "platform/Composition.h"
#include "platform/Console.h"
#include "platform/Dispatch.h"
#include "platform/ExportSession.h"
#include "platform/Storyboard.h"
#include "platform/UserDefaults.h"
#include "platform/ViewController.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QPointer>

#include <thread>

namespace tessivo {
namespace {

const QString kStoryboard = QStringLiteral("Main");
const QString kVideoEditor = QStringLiteral("videoEditor");
const QString kPhotoEditor = QStringLiteral("photoEditor");

bool fileExists(const QUrl &url)
{
    return QFileInfo(url.toLocalFile()).isFile();
}

MediaError captureError(const QString &text)
{
    return {QStringLiteral("CaptureErrorDomain"), -1, text};
}

/// Presents a kit editor from the storyboard over the top-most controller,
/// handing it `value` through `property`. False when there is no such
/// editor or no presenter.
bool presentEditor(const QString &identifier, const char *property, const QVariant &value)
{
    Storyboard &board = Storyboard::named(kStoryboard);
    if (!board.contains(identifier)) {
        consolePrint(QStringLiteral("Tessivo: the \"%1\" screen is not available, the report cannot be edited")
                         .arg(identifier));
        return false;
    }
    ViewController *top = topMostViewController();
    if (!top) {
        consolePrint(QStringLiteral("Tessivo: no window to present the \"%1\" screen on").arg(identifier));
        return false;
    }
    ViewController *editor = board.instantiateViewController(identifier);
    editor->setProperty(property, value);
    editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    top->setDefinesPresentationContext(true);
    top->present(editor, true);
    return true;
}

} // namespace

void CaptureMananger::runInBackground(std::function<void()> work)
{
    std::thread(std::move(work)).detach();
}

void CaptureMananger::whenRecordingWritten(std::function<void()> then)
{
    // A recording stopped a moment ago may still be finishing its file.
    const auto writer = assetWriter();
    const auto input = assetWriterInput();
    if (writer && input && input->isFinished() && writer->status() == AssetWriter::Status::writing)
        writer->finishWriting(std::move(then));
    else
        then();
}

// Join -----------------------------------------------------------------------

void CaptureMananger::mergeVideos(const QUrl &first, const QUrl &second, bool withMetadata,
                                  std::optional<float> maxDuration, URLCompletion completion,
                                  Failure failure)
{
    const QUrl output = withMetadata ? m_metadataMergedFileURL : m_finalFileURL;
    auto fail = [guard = m_guard, failure](const QString &line, const MediaError &error) {
        consolePrint(line);
        if (failure) {
            guard->withOwner([&](CaptureMananger *self) {
                self->notifyOnMainThread([failure, error](CaptureMananger *) { failure(error); });
            });
        }
    };
    runInBackground([first, second, withMetadata, maxDuration, completion, failure, output, fail,
                     guard = m_guard] {
        const MediaAsset firstAsset = MediaAsset::load(first);
        const MediaAsset secondAsset = MediaAsset::load(second);
        auto composition = std::make_shared<Composition>();
        const auto track = composition->addMutableTrack(MediaType::video);
        auto insertWhole = [&](const MediaAsset &asset) {
            if (!asset.isReadable())
                return false;
            const MediaAssetTrack &video = asset.firstVideoTrack();
            const MediaTime length = std::min(asset.duration(), video.timeRange.duration, std::less<>());
            return track->insertTimeRange({video.timeRange.start, length}, video, track->duration());
        };
        auto reason = [](const MediaAsset &asset) {
            return asset.error().value_or(captureError(QStringLiteral("The movie cannot be joined")));
        };
        if (!insertWhole(firstAsset)) {
            fail(QStringLiteral("Failed to load first track"), reason(firstAsset));
            return;
        }
        if (!insertWhole(secondAsset)) {
            fail(QStringLiteral("Failed to load second track"), reason(secondAsset));
            return;
        }
        if (withMetadata && !insertWhole(firstAsset)) {
            fail(QStringLiteral("Failed to load second track"), reason(firstAsset));
            return;
        }
        FileUtil::deleteCaptureFile(output);
        auto session = ExportSession::create(composition, ExportPreset::highestQuality);
        if (!session) {
            if (failure)
                fail(QStringLiteral("Nothing to join"), captureError(QStringLiteral("Nothing to join")));
            return;
        }
        session->setOutputURL(output);
        session->setOutputFileType(FileType::quickTimeMovie);
        session->setShouldOptimizeForNetworkUse(true);
        if (!withMetadata && maxDuration) {
            auto seconds = [](MediaTime t) {
                return static_cast<float>(t.value) / static_cast<float>(t.timescale);
            };
            const float total = seconds(firstAsset.duration()) + seconds(secondAsset.duration());
            if (*maxDuration < total) {
                session->setTimeRange(MediaTimeRange::fromTo(MediaTime::fromSeconds(total - *maxDuration, 1000),
                                                             MediaTime::fromSeconds(total, 1000)));
            }
        }
        session->exportAsynchronously([guard, session, output, completion] {
            if (session->status() == ExportSession::Status::failed)
                consolePrint(QStringLiteral("Export failed: ") + session->error().value_or(MediaError{}).localizedDescription);
            guard->withOwner([&](CaptureMananger *self) {
                self->notifyOnMainThread([completion, output](CaptureMananger *) {
                    if (completion)
                        completion(output);
                });
            });
        });
    });
}

// Cut ------------------------------------------------------------------------

void CaptureMananger::cutToLastSeconds(const MediaAsset &asset, float seconds, URLCompletion completion,
                                       Failure failure)
{
    runInBackground([asset, seconds, completion, failure, guard = m_guard, final = m_finalFileURL,
                     recording = m_recordingFileURL] {
        const float duration = asset.durationSeconds();
        FileUtil::deleteCaptureFile(final);
        auto finish = [guard, completion](const QUrl &url) {
            guard->withOwner([&](CaptureMananger *self) {
                self->notifyOnMainThread([completion, url](CaptureMananger *) {
                    if (completion)
                        completion(url);
                });
            });
        };
        if (!(duration > seconds)) {
            finish(recording);
            return;
        }
        auto session = ExportSession::create(asset, ExportPreset::highestQuality);
        if (!session) {
            const MediaError error = asset.error().value_or(captureError(QStringLiteral("The movie cannot be cut")));
            consolePrint(QStringLiteral("Cannot cut the recording: ") + error.localizedDescription);
            if (failure) {
                guard->withOwner([&](CaptureMananger *self) {
                    self->notifyOnMainThread([failure, error](CaptureMananger *) { failure(error); });
                });
            }
            return;
        }
        session->setOutputURL(final);
        session->setOutputFileType(FileType::mpeg4);
        session->setTimeRange(MediaTimeRange::fromTo(MediaTime::fromSeconds(duration - seconds, 1000),
                                                     MediaTime::fromSeconds(duration, 1000)));
        session->exportAsynchronously([session, output = final, finish] {
            if (session->status() == ExportSession::Status::failed)
                consolePrint(QStringLiteral("Export failed: ") + session->error().value_or(MediaError{}).localizedDescription);
            finish(output);
        });
    });
}

void CaptureMananger::cutToLastSeconds(const MediaAsset &asset, float seconds)
{
    cutToLastSeconds(
        asset, seconds, [this](const QUrl &url) { openVideoEditor(url); },
        [this](const MediaError &error) { endSessionAfterFailure(error); });
}

// Metadata video -------------------------------------------------------------

void CaptureMananger::makeMetadataVideo(VideoMetadataView *view, const QUrl &video, URLCompletion completion,
                                        Failure failure)
{
    QPointer<VideoMetadataView> card(view);
    runInBackground([card, completion, failure, guard = m_guard, url = video] {
        const MediaAsset video = MediaAsset::load(url);
        const QSize size = video.hasVideoTrack() ? video.firstVideoTrack().naturalSize : QSize();
        guard->withOwner([&](CaptureMananger *self) {
            self->notifyOnMainThread([=](CaptureMananger *manager) {
                if (!card || !size.isValid() || size.isEmpty()) {
                    const MediaError error = video.error().value_or(
                        captureError(QStringLiteral("There is no video to add the metadata to")));
                    consolePrint(QStringLiteral("Cannot make the metadata video: ") + error.localizedDescription);
                    if (failure)
                        failure(error);
                    return;
                }
                // The card is laid out at the video's pixel size; its text
                // keeps the screen's scale.
                const qreal scale = qApp ? qApp->devicePixelRatio() : 1.0;
                const QImage image = card->renderFrame(size, scale);
                manager->runInBackground([guard = manager->m_guard, image, size, url, completion, failure] {
                    guard->withOwner([&](CaptureMananger *self) {
                        self->writeMetadataClip(image, size, url, completion, failure);
                    });
                });
            });
        });
    });
}

void CaptureMananger::makeMetadataVideo(const QImage &card, const QUrl &video, URLCompletion completion,
                                        Failure failure)
{
    runInBackground([card, completion, failure, guard = m_guard, url = video] {
        const MediaAsset video = MediaAsset::load(url);
        guard->withOwner([&](CaptureMananger *self) {
            if (!video.hasVideoTrack() || card.isNull()) {
                const MediaError error = video.error().value_or(
                    captureError(QStringLiteral("There is no video to add the metadata to")));
                consolePrint(QStringLiteral("Cannot make the metadata video: ") + error.localizedDescription);
                if (failure)
                    self->notifyOnMainThread([failure, error](CaptureMananger *) { failure(error); });
                return;
            }
            self->writeMetadataClip(card, video.firstVideoTrack().naturalSize, url, completion, failure);
        });
    });
}

void CaptureMananger::writeMetadataClip(const QImage &card, QSize size, const QUrl &video, URLCompletion completion,
                                        Failure failure)
{
    // Encoded by the recorder's own writer settings at the video's size, so
    // that the clip's packets join the recording's as they are.
    FileUtil::deleteCaptureFile(m_metadataFileURL);
    MediaError error;
    auto writer = AssetWriter::create(m_metadataFileURL, FileType::quickTimeMovie, &error);
    auto input = std::make_shared<AssetWriterInput>(
        MediaType::video, VideoOutputSettings{VideoCodecType::h264, double(size.width()), double(size.height())});
    input->setExpectsMediaDataInRealTime(true);
    if (writer && writer->canAdd(input))
        writer->add(input);
    if (!writer || !writer->startWriting()) {
        if (writer)
            error = writer->error().value_or(error);
        consolePrint(QStringLiteral("Cannot write the metadata video: ") + error.localizedDescription);
        if (failure)
            notifyOnMainThread([failure, error](CaptureMananger *) { failure(error); });
        return;
    }
    // The session spans the clip's one second: the buffer appended at its
    // end only closes it, so the card shows from 0 to 1 s as one frame.
    writer->startSession({0, 1});
    writer->endSession({1, 1});
    if (input->isReadyForMoreMediaData() && !card.isNull()) {
        input->append(SampleBuffer(card, {0, 1}));
        input->append(SampleBuffer(card, {1, 1}));
    }
    input->markAsFinished();
    writer->finishWriting([guard = m_guard, writer, video, completion, failure] {
        if (writer->status() != AssetWriter::Status::completed) {
            const MediaError error = writer->error().value_or(captureError(QStringLiteral("The clip was not written")));
            consolePrint(QStringLiteral("Cannot write the metadata video: ") + error.localizedDescription);
            if (failure) {
                guard->withOwner([&](CaptureMananger *self) {
                    self->notifyOnMainThread([failure, error](CaptureMananger *) { failure(error); });
                });
            }
            return;
        }
        consolePrint(QStringLiteral("Metadata video saved"));
        guard->withOwner([&](CaptureMananger *self) {
            self->mergeVideos(self->m_metadataFileURL, video, true, std::nullopt, completion, failure);
        });
    });
}

// Still frame ----------------------------------------------------------------

void CaptureMananger::stillFrame(ImageCompletion completion)
{
    takeStillFrame([completion](const std::optional<QImage> &image, bool) {
        if (completion)
            completion(image);
    });
}

void CaptureMananger::takeStillFrame(std::function<void(const std::optional<QImage> &, bool)> completion)
{
    runInBackground([completion, guard = m_guard, url = m_recordingFileURL] {
        const MediaAsset asset = MediaAsset::load(url);
        auto answer = [&](std::function<void(CaptureMananger *)> work) {
            guard->withOwner([&](CaptureMananger *self) { self->notifyOnMainThread(std::move(work)); });
        };
        if (asset.durationSeconds() == 0.0f) {
            if (!asset.isReadable() && asset.error() && fileExists(url))
                consolePrint(QStringLiteral("Cannot read the recording: ") + asset.error()->localizedDescription);
            answer([completion](CaptureMananger *) {
                TessivoKit::shared().navigationAlreadyStarted = false;
                TessivoKit::shared().presentNoActivityAlert();
                completion(std::nullopt, true);
            });
            return;
        }
        std::optional<QImage> image;
        MediaError error;
        if (asset.isReadable())
            image = AssetImageGenerator(asset).copyImage(asset.duration(), nullptr, &error);
        if (!image)
            consolePrint(QStringLiteral("Cannot take a frame from the recording: ") + error.localizedDescription);
        answer([completion, image](CaptureMananger *) { completion(image, false); });
    });
}

// The capture choice screen's options ------------------------------------------

void CaptureMananger::recordingUnavailable()
{
    TessivoKit &kit = TessivoKit::shared();
    kit.navigationAlreadyStarted = false;
    if (!UserDefaults::standard().boolForKey(QStringLiteral("userAllowedRecordingKey")))
        kit.presentPermissionAlert();
    else
        kit.presentNoActivityAlert(); // nothing on disk: the recording lasts 0 s
}

void CaptureMananger::endSessionAfterFailure(const MediaError &)
{
    // The failure was printed where it happened; the tester can start over.
    TessivoKit::shared().navigationAlreadyStarted = false;
}

void CaptureMananger::openVideoEditor(const QUrl &url)
{
    if (!fileExists(url)) {
        consolePrint(QStringLiteral("Tessivo: the video could not be prepared"));
        TessivoKit::shared().navigationAlreadyStarted = false;
        return;
    }
    if (!presentEditor(kVideoEditor, "videoFileURL", QVariant(url)))
        TessivoKit::shared().navigationAlreadyStarted = false;
}

void CaptureMananger::produceVideoFeedback()
{
    // The trimmed movie of an earlier report is not this report's: only the
    // join or the cut below may write "finalVideo" again.
    deleteFile(m_finalFileURL);
    if (!fileExists(m_recordingFileURL)) {
        recordingUnavailable();
        return;
    }
    whenRecordingWritten([guard = m_guard] {
        guard->withOwner([](CaptureMananger *self) {
            self->runInBackground([self, guard = self->m_guard] {
                MediaAsset asset = MediaAsset::load(self->m_recordingFileURL);
                const bool hasPrevious = fileExists(self->m_recordedFileURL);
                if (!asset.isReadable() && asset.error())
                    consolePrint(QStringLiteral("Cannot read the recording: ") + asset.error()->localizedDescription);
                guard->withOwner([&](CaptureMananger *owner) {
                    owner->notifyOnMainThread([asset, hasPrevious](CaptureMananger *m) {
                        const float duration = asset.durationSeconds();
                        auto open = [m](const QUrl &url) { m->openVideoEditor(url); };
                        auto failed = [m](const MediaError &error) { m->endSessionAfterFailure(error); };
                        if (duration == 0.0f) {
                            TessivoKit::shared().navigationAlreadyStarted = false;
                            TessivoKit::shared().presentNoActivityAlert();
                        } else if (duration < m->finalVideoDuration && hasPrevious) {
                            m->mergeVideos(m->m_recordedFileURL, m->m_recordingFileURL, false,
                                           m->finalVideoDuration, open, failed);
                        } else if (duration < m->finalVideoDuration) {
                            m->openVideoEditor(m->m_recordingFileURL);
                        } else {
                            m->cutToLastSeconds(asset, m->finalVideoDuration, open, failed);
                        }
                    });
                });
            });
        });
    });
}

void CaptureMananger::produceScreenshotFromRecording()
{
    if (!fileExists(m_recordingFileURL)) {
        recordingUnavailable();
        return;
    }
    whenRecordingWritten([guard = m_guard] {
        guard->withOwner([](CaptureMananger *self) {
            self->notifyOnMainThread([](CaptureMananger *m) {
                m->takeStillFrame([m](const std::optional<QImage> &image, bool emptyRecording) {
                    if (image) {
                        if (!presentEditor(kPhotoEditor, "image", QVariant(*image)))
                            TessivoKit::shared().navigationAlreadyStarted = false;
                    } else if (!emptyRecording) {
                        m->recordingUnavailable();
                    }
                });
            });
        });
    });
}

} // namespace tessivo
