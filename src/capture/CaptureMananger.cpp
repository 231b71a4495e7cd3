#include "capture/CaptureMananger.h"

#include "capture/FileUtil.h"
#include "platform/Console.h"
#include "platform/Dispatch.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>

namespace tessivo {

namespace {

QUrl captureURL(const QString &baseName)
{
    return QUrl::fromLocalFile(FileUtil::capturePath(baseName));
}

} // namespace

CaptureMananger::CaptureMananger(QObject *parent)
    : CaptureMananger(&ScreenRecorder::shared(), parent)
{
}

CaptureMananger::CaptureMananger(ScreenRecorder *recorder, QObject *parent)
    : QObject(parent), m_recorder(recorder),
      m_recordedFileURL(captureURL(QStringLiteral("recordedVideo"))),
      m_recordingFileURL(captureURL(QStringLiteral("recordingVideo"))),
      m_metadataFileURL(captureURL(QStringLiteral("metadataVideo"))),
      m_metadataMergedFileURL(captureURL(QStringLiteral("Tessivo recorded video"))),
      m_finalFileURL(captureURL(QStringLiteral("finalVideo"))),
      m_guard(std::make_shared<Guard>())
{
    m_guard->owner = this;
}

CaptureMananger::~CaptureMananger()
{
    {
        QMutexLocker lock(&m_guard->mutex);
        m_guard->owner = nullptr;
    }
    // A capture still feeding this manager's writer has no one to feed.
    const auto writer = assetWriter();
    if (writer && writer->status() == AssetWriter::Status::writing)
        m_recorder->stopCapture({});
}

std::shared_ptr<AssetWriter> CaptureMananger::assetWriter() const
{
    QMutexLocker lock(&m_writerMutex);
    return m_assetWriter;
}

std::shared_ptr<AssetWriterInput> CaptureMananger::assetWriterInput() const
{
    QMutexLocker lock(&m_writerMutex);
    return m_assetWriterInput;
}

CaptureMananger::Statistics CaptureMananger::statistics() const
{
    return {m_framesAppended, m_framesDropped, m_segmentsCompleted};
}

void CaptureMananger::startCapture(Completion completion)
{
    ++m_epoch;
    // 1. A new writer for the segment file.
    FileUtil::deleteCaptureFile(m_recordingFileURL);
    MediaError error;
    auto writer = AssetWriter::create(m_recordingFileURL, FileType::quickTimeMovie, &error);
    if (!writer)
        consolePrint(QStringLiteral("Error creating asset writer: ") + error.localizedDescription);
    // 2. Its video input at the key window's pixel size.
    const QSize size = m_recorder->keyWindowPixelSize();
    auto input = std::make_shared<AssetWriterInput>(
        MediaType::video, VideoOutputSettings{VideoCodecType::h264, double(size.width()),
                                              double(size.height())});
    input->setExpectsMediaDataInRealTime(true);
    if (writer && writer->canAdd(input))
        writer->add(input);
    {
        QMutexLocker lock(&m_writerMutex);
        m_assetWriter = std::move(writer);
        m_assetWriterInput = std::move(input);
    }
    // 3-4. No sound; capture, answering on the GUI thread.
    m_recorder->setMicrophoneEnabled(false);
    m_recorder->startCapture(makeSampleHandler(), [completion = std::move(completion)](
                                                      std::optional<MediaError> error) {
        dispatchMain([completion, error] {
            if (!error)
                consolePrint(QStringLiteral("Screen capture started successfully"));
            if (completion)
                completion(error);
        });
    });
}

ScreenRecorder::SampleHandler CaptureMananger::makeSampleHandler()
{
    // The frame counter belongs to this capture's handler alone.
    return [guard = m_guard, frameCount = 0](const SampleBuffer &sample, SampleBufferType type,
                                             std::optional<MediaError>) mutable {
        if (type != SampleBufferType::video)
            return; // no sound is ever written
        guard->withOwner([&](CaptureMananger *self) { self->handleVideoSample(sample, frameCount); });
    };
}

void CaptureMananger::handleVideoSample(const SampleBuffer &sample, int &frameCount)
{
    const auto writer = assetWriter();
    const auto input = assetWriterInput();
    if (!writer)
        return;
    if (writer->status() == AssetWriter::Status::unknown) {
        writer->startWriting();
        writer->startSession(sample.presentationTimeStamp());
        consolePrint(QStringLiteral("Asset writer started"));
    }
    if (writer->status() == AssetWriter::Status::failed) {
        const MediaError error = writer->error().value_or(MediaError{});
        consolePrint(QStringLiteral("Error writing screencast to file: %1 with error: %2")
                         .arg(static_cast<int>(writer->status()))
                         .arg(error.localizedDescription));
        interrupt(error);
        return;
    }
    if (writer->status() != AssetWriter::Status::writing)
        return;
    if (++frameCount == kFramesPerSegment) {
        // The segment is full: this frame is not written; the next one opens
        // the next segment.
        const quint64 epoch = m_epoch;
        m_recorder->stopCapture([guard = m_guard, epoch](std::optional<MediaError>) {
            guard->withOwner([epoch](CaptureMananger *self) { self->rotate(epoch); });
        });
        return;
    }
    if (input && input->isReadyForMoreMediaData() && input->append(sample))
        ++m_framesAppended;
    else
        ++m_framesDropped;
}

void CaptureMananger::rotate(quint64 epoch)
{
    const auto writer = assetWriter();
    const auto input = assetWriterInput();
    if (!writer || writer->status() != AssetWriter::Status::writing)
        return;
    if (input)
        input->markAsFinished();
    writer->finishWriting([guard = m_guard, epoch] {
        guard->withOwner([epoch](CaptureMananger *self) { self->completeRotation(epoch); });
    });
}

void CaptureMananger::completeRotation(quint64 epoch)
{
    // Runs on the writer's thread once the segment file is complete.
    deleteFile(m_recordedFileURL);
    const QString recording = m_recordingFileURL.toLocalFile();
    if (QFileInfo::exists(recording) && !QFile::copy(recording, m_recordedFileURL.toLocalFile()))
        consolePrint(QStringLiteral("Error copying the recorded segment"));
    ++m_segmentsCompleted;
    notifyOnMainThread([](CaptureMananger *self) { Q_EMIT self->segmentRotated(); });
    if (m_epoch != epoch)
        return; // stopped or restarted meanwhile: that start owns the recording
    QPointer<CaptureMananger> self(this);
    startCapture([self](std::optional<MediaError> error) {
        if (error && self)
            Q_EMIT self->captureInterrupted(*error);
    });
}

void CaptureMananger::interrupt(const MediaError &error)
{
    ++m_epoch;
    m_recorder->stopCapture({});
    notifyOnMainThread([error](CaptureMananger *self) { Q_EMIT self->captureInterrupted(error); });
}

void CaptureMananger::notifyOnMainThread(std::function<void(CaptureMananger *)> notify)
{
    // Called while the manager is alive (under the guard or on its thread).
    QPointer<CaptureMananger> self(this);
    dispatchMain([self, notify = std::move(notify)] {
        if (self)
            notify(self.data());
    });
}

void CaptureMananger::finishRecording()
{
    ++m_epoch;
    const auto writer = assetWriter();
    const auto input = assetWriterInput();
    if (!writer || writer->status() != AssetWriter::Status::writing)
        return;
    if (input)
        input->markAsFinished();
    writer->finishWriting([guard = m_guard] {
        guard->withOwner([](CaptureMananger *self) {
            self->notifyOnMainThread([](CaptureMananger *m) { Q_EMIT m->recordingWritten(); });
        });
    });
    consolePrint(QStringLiteral("Recording stopped"));
}

ScreenRecorder::Completion CaptureMananger::stopHandler(ScreenRecorder::Completion then)
{
    return [guard = m_guard, then = std::move(then)](std::optional<MediaError> error) {
        guard->withOwner([](CaptureMananger *self) { self->finishRecording(); });
        if (then)
            then(error);
    };
}

void CaptureMananger::deleteFile(const QUrl &url)
{
    FileUtil::deleteCaptureFile(url);
}

void CaptureMananger::deleteAllFiles()
{
    for (const QUrl *url : {&m_recordedFileURL, &m_recordingFileURL, &m_metadataFileURL,
                            &m_metadataMergedFileURL, &m_finalFileURL})
        deleteFile(*url);
}

} // namespace tessivo
