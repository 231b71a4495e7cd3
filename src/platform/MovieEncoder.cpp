#include "platform/MovieEncoder.h"

#include "platform/FrameConverter.h"
#include "platform/H264Encoder.h"
#include "platform/ThreadPriority.h"

#include <QFile>
#include <QThread>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <mutex>
#include <thread>

namespace tessivo {
namespace {

const QString kDomain = QStringLiteral("AssetWriterErrorDomain");
constexpr AVRational kTimeBase = H264Encoder::kTimeBase;
constexpr qint64 kDefaultFrameTicks = 1;
constexpr qint64 kKeyframeIntervalTicks = MovieEncoder::kKeyframeIntervalUs * kTimeBase.den / 1000000;

} // namespace

struct MovieEncoder::Codec {
    AVFormatContext *format = nullptr;
    AVCodecContext *encoder = nullptr;
    AVStream *stream = nullptr;
    AVFrame *frame = nullptr;
    AVFrame *picture = av_frame_alloc(); // a reference to a sample's YUV picture
    AVPacket *packet = nullptr;
    std::unique_ptr<FrameConverter> converter;
    QSize size;
    qint64 lastPts = -1;
    qint64 lastKeyPts = -1;
    qint64 lastIntervalTicks = kDefaultFrameTicks;
    AVPacket *heldPacket = av_packet_alloc();
    bool hasHeldPacket = false;
    qint64 lastDurationTicks = kDefaultFrameTicks;

    ~Codec()
    {
        av_packet_free(&packet);
        av_packet_free(&heldPacket);
        av_frame_free(&frame);
        av_frame_free(&picture);
        avcodec_free_context(&encoder);
        if (format) {
            if (format->pb)
                avio_closep(&format->pb);
            avformat_free_context(format);
        }
    }
};

MovieEncoder::MovieEncoder(QString path) : m_path(std::move(path)) {}

MovieEncoder::~MovieEncoder() = default;

std::optional<MediaError> MovieEncoder::error() const
{
    QMutexLocker lock(&m_mutex);
    return m_error;
}

void MovieEncoder::fail(MediaError error)
{
    {
        QMutexLocker lock(&m_mutex);
        if (!m_error)
            m_error = std::move(error);
    }
    m_status = AssetWriterStatus::failed;
}

void MovieEncoder::failWith(int averror, const QString &what)
{
    fail({kDomain, averror, what + QStringLiteral(": ") + averrorText(averror)});
    closeFile(false);
}

bool MovieEncoder::start(int width, int height, bool realTime)
{
    if (m_status != AssetWriterStatus::unknown)
        return false;
    width &= ~1;
    height &= ~1;
    if (width < 2 || height < 2) {
        fail({kDomain, AVERROR(EINVAL),
              QStringLiteral("Invalid video size %1x%2").arg(width).arg(height)});
        return false;
    }
    m_queueDepth = realTime ? kRealTimeQueueDepth : kOfflineQueueDepth;
    static std::once_flag quietLog;
    std::call_once(quietLog, [] {
        // The encoder's banner and statistics are noise on a host's console;
        // a host that set its own level keeps it.
        if (av_log_get_level() == AV_LOG_INFO)
            av_log_set_level(AV_LOG_ERROR);
    });

    auto codec = std::make_unique<Codec>();
    codec->size = QSize(width, height);
    const QByteArray path = QFile::encodeName(m_path);
    int ret = avformat_alloc_output_context2(&codec->format, nullptr, "mov", path.constData());
    if (ret < 0 || !codec->format) {
        fail({kDomain, ret, QStringLiteral("Cannot create a movie: ") + averrorText(ret)});
        return false;
    }
    int averror = 0;
    QString message;
    CodecContextHandle opened = H264Encoder::open(QSize(width, height),
                                                  codec->format->oformat->flags & AVFMT_GLOBALHEADER,
                                                  &averror, &message);
    if (!opened) {
        fail({kDomain, averror, message});
        return false;
    }
    AVCodecContext *enc = codec->encoder = opened.release();
    codec->stream = avformat_new_stream(codec->format, nullptr);
    avcodec_parameters_from_context(codec->stream->codecpar, enc);
    codec->stream->time_base = enc->time_base;

    ret = avio_open(&codec->format->pb, path.constData(), AVIO_FLAG_WRITE);
    if (ret < 0) {
        fail({kDomain, ret, QStringLiteral("Cannot open %1: %2").arg(m_path, averrorText(ret))});
        return false;
    }
    // The track keeps the movie clock as its timescale (the muxer would
    // otherwise pick a multiple of it), so that frame times stay whole ticks.
    AVDictionary *options = nullptr;
    av_dict_set_int(&options, "video_track_timescale", kTimeBase.den, 0);
    ret = avformat_write_header(codec->format, &options);
    av_dict_free(&options);
    if (ret < 0) {
        fail({kDomain, ret, QStringLiteral("Cannot write the movie header: ") + averrorText(ret)});
        return false;
    }
    codec->frame = av_frame_alloc();
    codec->frame->format = enc->pix_fmt;
    codec->frame->width = width;
    codec->frame->height = height;
    codec->packet = av_packet_alloc();
    codec->converter = std::make_unique<FrameConverter>(codec->size);
    ret = av_frame_get_buffer(codec->frame, 0);
    if (ret < 0) {
        fail({kDomain, ret, QStringLiteral("Out of memory for frames")});
        return false;
    }

    m_codec = std::move(codec);
    {
        QMutexLocker lock(&m_mutex);
        m_threadRunning = true;
    }
    m_status = AssetWriterStatus::writing;
    std::thread([self = shared_from_this()] {
        lowerCurrentThreadPriority();
        self->run();
    }).detach();
    return true;
}

void MovieEncoder::setSessionStart(MediaTime sourceTime)
{
    QMutexLocker lock(&m_mutex);
    m_sessionStart = sourceTime;
}

void MovieEncoder::setSessionEnd(MediaTime sourceTime)
{
    QMutexLocker lock(&m_mutex);
    m_sessionEnd = sourceTime;
}

bool MovieEncoder::isReadyForMoreFrames() const
{
    return m_status == AssetWriterStatus::writing && !m_finishRequested
           && m_framesInFlight.load() < m_queueDepth;
}

bool MovieEncoder::enqueue(const SampleBuffer &frame)
{
    if (!isReadyForMoreFrames() || !frame.hasPicture())
        return false;
    ++m_framesInFlight;
    post({Job::Kind::frame, frame});
    return true;
}

void MovieEncoder::post(Job job)
{
    QMutexLocker lock(&m_mutex);
    m_jobs.push_back(std::move(job));
    m_wake.wakeOne();
}

void MovieEncoder::finish(std::function<void()> completion)
{
    QMutexLocker lock(&m_mutex);
    if (m_threadRunning) {
        // Every caller hears back once the file is closed, including those
        // that ask while a finish is already under way.
        if (completion)
            m_finishCompletions.push_back(std::move(completion));
        if (!m_finishRequested.exchange(true)) {
            m_jobs.push_back({Job::Kind::finish, {}});
            m_wake.wakeOne();
        }
        return;
    }
    lock.unlock();
    // Not writing (never started, or already done): nothing to drain.
    if (completion)
        completion();
}

void MovieEncoder::cancel()
{
    m_finishRequested = true;
    QMutexLocker lock(&m_mutex);
    if (m_threadRunning) {
        m_jobs.push_front({Job::Kind::cancel, {}});
        m_wake.wakeOne();
    } else if (m_status == AssetWriterStatus::unknown) {
        m_status = AssetWriterStatus::cancelled;
    }
}

void MovieEncoder::abandon()
{
    QMutexLocker lock(&m_mutex);
    if (m_threadRunning && !m_finishRequested) {
        m_finishRequested = true;
        m_jobs.push_back({Job::Kind::abandon, {}});
        m_wake.wakeOne();
    }
}

void MovieEncoder::run()
{
    for (;;) {
        Job job;
        {
            QMutexLocker lock(&m_mutex);
            while (m_jobs.empty())
                m_wake.wait(&m_mutex);
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        switch (job.kind) {
        case Job::Kind::frame:
            if (m_status == AssetWriterStatus::writing)
                encode(job.frame);
            --m_framesInFlight;
            continue;
        case Job::Kind::finish:
            finishFile();
            break;
        case Job::Kind::cancel:
            closeFile(true);
            m_status = AssetWriterStatus::cancelled;
            break;
        case Job::Kind::abandon:
            closeFile(false);
            break;
        }
        std::vector<std::function<void()>> completions;
        {
            QMutexLocker lock(&m_mutex);
            m_threadRunning = false;
            m_jobs.clear();
            completions.swap(m_finishCompletions);
        }
        for (const auto &completion : completions)
            completion();
        return;
    }
}

std::optional<qint64> MovieEncoder::sessionEndTicks() const
{
    QMutexLocker lock(&m_mutex);
    if (!m_sessionStart.isValid() || !m_sessionEnd.isValid())
        return std::nullopt;
    return (m_sessionEnd - m_sessionStart).convertScale(kTimeBase.den).value;
}

void MovieEncoder::encode(const SampleBuffer &buffer)
{
    Codec &c = *m_codec;
    MediaTime sessionStart;
    {
        QMutexLocker lock(&m_mutex);
        sessionStart = m_sessionStart;
    }
    if (!sessionStart.isValid() || buffer.presentationTimeStamp() < sessionStart)
        return; // before the session: not part of the movie
    // Each frame takes the tick nearest to its time. A frame whose tick is
    // already taken came within a tick of the one before it: it is left
    // out, so that every frame lasts at least a tick and times only rise.
    const qint64 pts = (buffer.presentationTimeStamp() - sessionStart).convertScale(kTimeBase.den).value;
    if (pts <= c.lastPts)
        return;
    if (const auto end = sessionEndTicks(); end && pts >= *end)
        return; // at or after the session's end: not part of the movie

    // A YUV picture of the movie's size is encoded as it is (the encoder
    // copies what it keeps); anything else is converted into the
    // encoder's own frame.
    AVFrame *frame = c.frame;
    int ret = 0;
    const auto &picture = buffer.pixelBuffer();
    if (picture && picture->format == c.encoder->pix_fmt && picture->width == c.size.width()
        && picture->height == c.size.height()) {
        ret = av_frame_ref(c.picture, picture.get());
        if (ret < 0) {
            failWith(ret, QStringLiteral("Out of memory for frames"));
            return;
        }
        frame = c.picture;
    } else {
        ret = av_frame_make_writable(frame);
        if (ret < 0) {
            failWith(ret, QStringLiteral("Out of memory for frames"));
            return;
        }
        const bool converted = picture ? c.converter->convert(*picture, frame)
                                       : c.converter->convert(buffer.imageBuffer(), frame);
        if (!converted) {
            failWith(AVERROR(EINVAL), QStringLiteral("Cannot convert frames of this format"));
            return;
        }
    }

    if (c.lastPts >= 0)
        c.lastIntervalTicks = pts - c.lastPts;
    c.lastPts = pts;
    frame->pts = pts;
    // Force an IDR when waiting for the next frame would stretch the gap
    // since the last one beyond the keyframe interval.
    const bool forceKey = c.lastKeyPts < 0 || pts - c.lastKeyPts + c.lastIntervalTicks > kKeyframeIntervalTicks;
    frame->pict_type = forceKey ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    if (forceKey)
        c.lastKeyPts = pts;

    ret = avcodec_send_frame(c.encoder, frame);
    av_frame_unref(c.picture);
    if (ret < 0) {
        failWith(ret, QStringLiteral("Encoding failed"));
        return;
    }
    while ((ret = avcodec_receive_packet(c.encoder, c.packet)) >= 0) {
        if (c.packet->flags & AV_PKT_FLAG_KEY)
            c.lastKeyPts = std::max<qint64>(c.lastKeyPts, c.packet->pts);
        ret = mux(c.packet);
        if (ret < 0) {
            failWith(ret, QStringLiteral("Writing the movie failed"));
            return;
        }
    }
    if (ret != AVERROR(EAGAIN) && ret != AVERROR_EOF)
        failWith(ret, QStringLiteral("Encoding failed"));
}

int MovieEncoder::mux(AVPacket *packet)
{
    // Each packet waits for the next one, which gives its exact duration;
    // the last one lasts as long as the one before it. Nothing lasts past
    // an explicit session end, and a frame that starts there is dropped.
    Codec &c = *m_codec;
    int ret = 0;
    if (c.hasHeldPacket) {
        AVPacket *held = c.heldPacket;
        qint64 duration = packet ? packet->pts - held->pts : c.lastDurationTicks;
        const auto end = sessionEndTicks();
        if (end)
            duration = std::min(duration, *end - held->pts);
        if (duration <= 0) {
            av_packet_unref(held);
            c.hasHeldPacket = false;
            if (packet) {
                av_packet_move_ref(c.heldPacket, packet);
                c.hasHeldPacket = true;
            }
            return 0;
        }
        held->duration = duration;
        c.lastDurationTicks = held->duration;
        held->dts = held->pts; // no B-frames: decoding order is display order
        held->stream_index = 0;
        av_packet_rescale_ts(held, c.encoder->time_base, c.stream->time_base);
        ret = av_interleaved_write_frame(c.format, held);
        if (ret >= 0 && c.format->pb->error < 0)
            ret = c.format->pb->error;
        c.hasHeldPacket = false;
    }
    if (packet) {
        av_packet_move_ref(c.heldPacket, packet);
        c.hasHeldPacket = true;
    }
    return ret;
}

void MovieEncoder::finishFile()
{
    if (m_status != AssetWriterStatus::writing || !m_codec)
        return;
    Codec &c = *m_codec;
    int ret = avcodec_send_frame(c.encoder, nullptr);
    while (ret >= 0 && (ret = avcodec_receive_packet(c.encoder, c.packet)) >= 0)
        ret = mux(c.packet);
    if (ret == AVERROR_EOF) {
        // An explicit session end decides how long the last frame lasts.
        if (const auto end = sessionEndTicks(); end && c.hasHeldPacket)
            c.lastDurationTicks = *end - c.heldPacket->pts;
        ret = mux(nullptr);
    }
    if (ret < 0) {
        failWith(ret, QStringLiteral("Writing the movie failed"));
        return;
    }
    ret = av_write_trailer(c.format);
    if (ret >= 0 && c.format->pb->error < 0)
        ret = c.format->pb->error;
    if (ret >= 0) {
        avio_flush(c.format->pb);
        ret = c.format->pb->error;
    }
    const int closed = avio_closep(&c.format->pb);
    if (ret >= 0)
        ret = closed;
    if (ret < 0) {
        failWith(ret, QStringLiteral("Finishing the movie failed"));
        return;
    }
    m_codec.reset();
    m_status = AssetWriterStatus::completed;
}

void MovieEncoder::closeFile(bool removeFile)
{
    m_codec.reset(); // closes the file
    if (removeFile)
        QFile::remove(m_path);
}

} // namespace tessivo
