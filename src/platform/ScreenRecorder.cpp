#include "platform/ScreenRecorder.h"

#include "platform/Application.h"
#include "platform/Dispatch.h"
#include "platform/PrivacyMask.h"
#include "platform/ThreadPriority.h"

#include <QApplication>
#include <QBackingStore>
#include <QElapsedTimer>
#include <QEvent>
#include <QTimer>
#include <QWindow>

#include <algorithm>

#include <time.h>

namespace tessivo {
namespace {

qint64 threadCpuNanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace

ScreenRecorder &ScreenRecorder::shared()
{
    static ScreenRecorder *recorder = [] {
        auto *r = new ScreenRecorder; // lives as long as the process
        if (auto *app = QCoreApplication::instance())
            r->moveToThread(app->thread());
        return r;
    }();
    return *recorder;
}

ScreenRecorder::ScreenRecorder(QObject *parent) : QObject(parent)
{
    m_repaints = new RepaintTracker(this);
    m_thread.setObjectName(QStringLiteral("tessivo.recorder"));
    m_recorderContext = new QObject; // owned here, deleted after the thread ends
    m_recorderContext->moveToThread(&m_thread);
    m_thread.start();
    // The encoder opens (and starts its workers) on this thread.
    post([] { lowerCurrentThreadPriority(); });
    if (auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        connect(app, &QGuiApplication::focusWindowChanged, this,
                &ScreenRecorder::followKeyWindow, Qt::QueuedConnection);
    }
}

ScreenRecorder::~ScreenRecorder()
{
    {
        QMutexLocker lock(&m_deliveryMutex);
        m_recording = false;
        m_handler.reset();
        ++m_generation;
    }
    m_thread.quit();
    m_thread.wait();
    delete m_recorderContext;
}

QString ScreenRecorder::errorDomain()
{
    return QStringLiteral("ScreenRecorderErrorDomain");
}

QString ScreenRecorder::noWindowDescription()
{
    return QStringLiteral("There is no window to record");
}

MediaError ScreenRecorder::makeError(ErrorCode code, const QString &description)
{
    QString text = description;
    if (text.isEmpty()) {
        switch (code) {
        case ErrorCode::userDeclined:
            text = QStringLiteral("The user declined screen recording");
            break;
        case ErrorCode::disabled:
            text = QStringLiteral("Screen recording is disabled");
            break;
        case ErrorCode::failedToStart:
            text = noWindowDescription();
            break;
        case ErrorCode::insufficientStorage:
            text = QStringLiteral("There is not enough storage to record the screen");
            break;
        case ErrorCode::interrupted:
            text = QStringLiteral("Screen recording was interrupted");
            break;
        case ErrorCode::contentResize:
            text = QStringLiteral("Screen recording was interrupted while the content was resized");
            break;
        case ErrorCode::failed:
        case ErrorCode::unknown:
            text = QStringLiteral("Screen recording failed");
            break;
        }
    }
    return {errorDomain(), static_cast<int>(code), text};
}

QSize ScreenRecorder::pixelSize(const QWidget *window)
{
    if (!window)
        return {};
    const QSize pixels = (QSizeF(window->size()) * window->devicePixelRatioF()).toSize();
    return QSize(std::max(2, pixels.width() & ~1), std::max(2, pixels.height() & ~1));
}

QSize ScreenRecorder::keyWindowPixelSize() const
{
    QMutexLocker lock(&m_statsMutex);
    if (isMainThread()) {
        if (QWidget *window = Application::keyWindow())
            m_keyWindowPixelSize = pixelSize(window);
    }
    return m_keyWindowPixelSize;
}

ScreenRecorder::Statistics ScreenRecorder::statistics() const
{
    QMutexLocker lock(&m_statsMutex);
    return m_stats;
}

void ScreenRecorder::post(std::function<void()> work)
{
    QMetaObject::invokeMethod(m_recorderContext, std::move(work), Qt::QueuedConnection);
}

void ScreenRecorder::startCapture(SampleHandler handler, Completion completion)
{
    QMetaObject::invokeMethod(
        this,
        [this, handler = std::move(handler), completion = std::move(completion)]() mutable {
            startOnGuiThread(std::move(handler), std::move(completion));
        },
        Qt::AutoConnection);
}

void ScreenRecorder::startOnGuiThread(SampleHandler handler, Completion completion)
{
    auto finish = [this, completion = std::move(completion)](std::optional<MediaError> error) {
        if (completion)
            post([completion, error] { completion(error); });
    };
    if (m_startFailure)
        return finish(makeError(*m_startFailure));
    if (m_recording) {
        return finish(makeError(ErrorCode::failedToStart,
                                QStringLiteral("A screen recording is already running")));
    }
    QWidget *window = Application::keyWindow();
    if (!window) {
        return finish(makeError(ErrorCode::failedToStart, noWindowDescription()));
    }
    {
        QMutexLocker lock(&m_deliveryMutex);
        m_handler = std::make_shared<SampleHandler>(std::move(handler));
        ++m_generation;
        m_recording = true;
    }
    {
        QMutexLocker lock(&m_statsMutex);
        m_keyWindowPixelSize = pixelSize(window);
    }
    m_lastGrab = {};
    attach(window);
    m_repaints->invalidate(); // each capture starts with a whole frame
    finish(std::nullopt);
}

void ScreenRecorder::stopCapture(Completion handler)
{
    {
        QMutexLocker lock(&m_deliveryMutex);
        m_recording = false;
        m_handler.reset();
        ++m_generation;
    }
    QMetaObject::invokeMethod(
        this, [this] {
            if (!m_recording)
                detach();
        },
        Qt::AutoConnection);
    if (handler)
        post([handler = std::move(handler)] { handler(std::nullopt); });
}

void ScreenRecorder::attach(QWidget *window)
{
    if (m_window == window)
        return;
    detach();
    m_window = window;
    window->installEventFilter(this);
    m_repaints->track(window);
    // Widgets drawn by the GPU are composed at flush time and are missing
    // from the painted image; such windows are rendered for each frame.
    m_renderEachFrame = false;
    for (const QWidget *child : window->findChildren<QWidget *>()) {
        if (child->inherits("QOpenGLWidget") || child->inherits("QQuickWidget")) {
            m_renderEachFrame = true;
            break;
        }
    }
}

void ScreenRecorder::detach()
{
    if (m_window)
        m_window->removeEventFilter(this);
    m_window = nullptr;
    m_repaints->track(nullptr);
}

void ScreenRecorder::followKeyWindow()
{
    // The recorded window went away (closed, hidden, destroyed): go on with
    // the window that is key now, if any.
    if (!m_recording || (m_window && m_window->isVisible()))
        return;
    if (QWidget *window = Application::keyWindow())
        attach(window);
}

bool ScreenRecorder::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_window && m_recording) {
        switch (event->type()) {
        case QEvent::UpdateRequest:
            // The repaint happens while this event is processed; take the
            // frame once it is done.
            if (!m_grabScheduled) {
                m_grabScheduled = true;
                QMetaObject::invokeMethod(this, &ScreenRecorder::grabFrame, Qt::QueuedConnection);
            }
            break;
        case QEvent::Hide:
            QMetaObject::invokeMethod(this, &ScreenRecorder::followKeyWindow, Qt::QueuedConnection);
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

void ScreenRecorder::grabFrame()
{
    m_grabScheduled = false;
    if (!m_recording || !m_window || !m_window->isVisible())
        return;
    QElapsedTimer timer;
    timer.start();
    const qint64 cpuStart = threadCpuNanoseconds();
    if (m_framesInFlight.load() >= kMaxFramesInFlight) {
        QMutexLocker lock(&m_statsMutex);
        ++m_stats.framesDropped;
        return;
    }
    const MediaTime now = MediaTime::monotonicNow();
    const MediaTime interval = frameInterval();
    if (m_lastGrab.isValid() && now - m_lastGrab < interval) {
        // Too soon after the last frame: take this one when the interval
        // is over, with whatever has been painted by then.
        const qint64 waitNs = (m_lastGrab + interval - now).convertScale(1'000'000'000).value;
        m_grabScheduled = true;
        QTimer::singleShot(std::chrono::milliseconds((waitNs + 999'999) / 1'000'000), Qt::PreciseTimer, this,
                           &ScreenRecorder::grabFrame);
        return;
    }
    const QSize frameSize = pixelSize(m_window);
    const QRect frameRect(QPoint(0, 0), frameSize);
    QRegion area = m_repaints->take(frameRect);
    if (area.isEmpty())
        return; // nothing of the window was repainted
    // What the host marks private never leaves the GUI thread: its areas are
    // copied and filled in every frame, and an area that was private in the
    // last frame and is not now is copied again, so that the picture the
    // recorder keeps between frames holds neither private pixels nor a
    // stale fill.
    const QRegion privateArea = PrivacyMask::region(m_window) & frameRect;
    area += privateArea + (m_lastPrivateArea - privateArea);
    FramePatch patch = copyFrame(area, frameSize);
    if (patch.isNull())
        return;
    PrivacyMask::fill(patch.image, patch.toImage(privateArea & patch.region));
    m_lastPrivateArea = privateArea;
    m_lastGrab = now;
    const quint64 generation = m_generation;
    ++m_framesInFlight;
    post([this, generation, patch, now] {
        // Every patch goes into the canvas, even for a capture stopped
        // since: the canvas stays the window's picture.
        if (auto picture = m_canvas.apply(patch))
            deliver(generation, SampleBuffer(std::move(picture), now), SampleBufferType::video);
        --m_framesInFlight;
    });
    QMutexLocker lock(&m_statsMutex);
    ++m_stats.framesCaptured;
    for (const QRect &rect : patch.region)
        m_stats.pixelsCopied += quint64(rect.width()) * quint64(rect.height());
    m_stats.guiWallNanoseconds += timer.nsecsElapsed();
    m_stats.guiCpuNanoseconds += threadCpuNanoseconds() - cpuStart;
}

FramePatch ScreenRecorder::copyFrame(const QRegion &area, QSize frameSize)
{
    QBackingStore *store = m_window->backingStore();
    QPaintDevice *device = store && !m_renderEachFrame ? store->paintDevice() : nullptr;
    if (device && device->devType() == QInternal::Image) {
        // What the window painted last, without painting it again.
        return m_pool.copy(*static_cast<const QImage *>(device), area, frameSize);
    }
    // Widgets drawn by the GPU are missing from the painted image: the
    // window is rendered whole.
    FramePatch patch;
    patch.image = m_window->grab().toImage();
    patch.frameSize = frameSize;
    patch.region = QRegion(QRect(QPoint(0, 0), frameSize) & patch.image.rect());
    return patch;
}

void ScreenRecorder::deliver(quint64 generation, const SampleBuffer &sample, SampleBufferType type)
{
    QMutexLocker lock(&m_deliveryMutex);
    if (generation != m_generation || !m_handler)
        return; // taken for a capture that has been stopped since
    if (type == SampleBufferType::video) {
        // Frames closer together than the interval (only samples handed in
        // from outside can be) never reach the handler: the later is left
        // out, so that every frame the handler counts has a tick of its own.
        const MediaTime stamp = sample.presentationTimeStamp();
        if (m_lastDeliveredGeneration == generation && m_lastDelivered.isValid()
            && !(stamp >= m_lastDelivered + kMinimumFrameInterval))
            return;
        m_lastDelivered = stamp;
        m_lastDeliveredGeneration = generation;
    }
    const auto handler = m_handler; // the handler may stop the capture
    (*handler)(sample, type, std::nullopt);
}

void ScreenRecorder::setMaximumFrameRate(int framesPerSecond)
{
    m_maximumFrameRate = std::clamp(framesPerSecond, 1, MovieClock::kTicksPerSecond);
}

void ScreenRecorder::setStartFailureForTesting(std::optional<ErrorCode> code)
{
    m_startFailure = code;
}

void ScreenRecorder::deliverSampleForTesting(const SampleBuffer &sample, SampleBufferType type)
{
    const quint64 generation = m_generation;
    post([this, generation, sample, type] { deliver(generation, sample, type); });
}

} // namespace tessivo
