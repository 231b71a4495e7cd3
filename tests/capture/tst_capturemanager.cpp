// Background recording with the real recorder and encoder on offscreen
// windows, the 600-frame rotation, and the faults.
#include "FileSizeLimit.h"
#include "MovieProbe.h"
#include "TestSupport.h"

#include "capture/CaptureMananger.h"
#include "platform/Application.h"
#include "platform/Console.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QListWidget>
#include <QPainter>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QWidget>

extern "C" {
#include <libavutil/frame.h>
}

using namespace tessivo;

namespace {

/// A window that repaints itself 30 times a second while animating.
class AnimatedWindow : public QWidget
{
public:
    explicit AnimatedWindow(QSize size)
    {
        resize(size);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            ++m_step;
            update();
        });
    }
    void setAnimating(bool on) { on ? m_timer.start(33) : m_timer.stop(); }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.fillRect(rect(), QColor(240, 240, 230));
        p.fillRect((m_step * 7) % std::max(1, width() - 40), height() / 3, 40, 40, Qt::darkBlue);
    }

private:
    QTimer m_timer;
    int m_step = 0;
};

/// A window where a little changes at each step and the rest stays: a
/// badge showing the step in binary, a box that moves and a list that
/// scrolls (both are moved in the backing store, not repainted), over a
/// static background.
class StepWindow : public QWidget
{
public:
    static constexpr int kBits = 8;
    static constexpr QRect kBadge{200, 10, kBits * 8, 16};

    StepWindow()
    {
        resize(320, 240);
        m_box.setParent(this);
        m_box.setAutoFillBackground(true);
        m_box.setPalette(QPalette(QColor(200, 40, 40)));
        m_box.resize(30, 30);
        m_list.setParent(this);
        m_list.setGeometry(10, 60, 150, 170);
        m_list.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
        for (int i = 0; i < 200; ++i)
            m_list.addItem(QStringLiteral("Row %1 of the list").arg(i));
        setStep(0);
    }
    void setStep(int step)
    {
        m_step = step;
        m_box.move(180 + (step * 9) % 100, 120 + (step * 5) % 80);
        m_list.verticalScrollBar()->setValue(step * 7);
        update(kBadge);
    }
    /// The step whose badge a decoded luma plane shows.
    static int stepIn(const QByteArray &luma, int width)
    {
        int step = 0;
        for (int bit = 0; bit < kBits; ++bit) {
            const int x = kBadge.x() + bit * 8 + 4;
            step |= (quint8(luma[(kBadge.y() + 8) * width + x]) > 128) << bit;
        }
        return step;
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        for (int y = 0; y < height(); y += 12)
            p.fillRect(0, y, width(), 6, QColor(230, 230 - y / 4, 210));
        p.drawText(170, 50, QStringLiteral("static text"));
        for (int bit = 0; bit < kBits; ++bit)
            p.fillRect(kBadge.x() + bit * 8, kBadge.y(), 8, kBadge.height(),
                       (m_step >> bit) & 1 ? Qt::white : Qt::black);
    }

private:
    QWidget m_box;
    QListWidget m_list;
    int m_step = 0;
};

/// The largest mean luma difference of any 8×8 block between a decoded
/// plane and the window's pixels (limited-range BT.709 luma).
double worstBlockError(const QByteArray &luma, const QImage &painted)
{
    double worst = 0;
    for (int by = 0; by + 8 <= painted.height(); by += 8) {
        for (int bx = 0; bx + 8 <= painted.width(); bx += 8) {
            double sum = 0;
            for (int y = by; y < by + 8; ++y) {
                for (int x = bx; x < bx + 8; ++x) {
                    const QRgb c = painted.pixel(x, y);
                    const double expected = 16 + 219 * (0.2126 * qRed(c) + 0.7152 * qGreen(c) + 0.0722 * qBlue(c)) / 255;
                    sum += qAbs(quint8(luma[y * painted.width() + x]) - expected);
                }
            }
            worst = std::max(worst, sum / 64);
        }
    }
    return worst;
}

bool showAsKeyWindow(QWidget &window)
{
    window.show();
    window.activateWindow();
    return QTest::qWaitForWindowActive(&window) && Application::keyWindow() == &window;
}

/// Spins the event loop tightly (frame-by-frame tests wait hundreds of times).
bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::usleep(200);
    }
    return true;
}

std::optional<std::optional<MediaError>> startAndWait(CaptureMananger &manager)
{
    std::optional<std::optional<MediaError>> result;
    manager.startCapture([&](std::optional<MediaError> error) {
        QVERIFY(QThread::currentThread() == qApp->thread());
        result = error;
    });
    waitUntil([&] { return result.has_value(); });
    return result;
}

bool stopAndWaitForFile(CaptureMananger &manager)
{
    QSignalSpy written(&manager, &CaptureMananger::recordingWritten);
    manager.recorder()->stopCapture(manager.stopHandler());
    return written.wait(10000);
}

int countLines(const test::ConsoleCapture &console, const QString &prefix)
{
    int n = 0;
    for (const QString &line : console.lines())
        n += line.startsWith(prefix);
    return n;
}

QImage solidFrame(int k)
{
    QImage image(320, 240, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(k % 360, 200, 200));
    return image;
}

QImage noiseFrame()
{
    QImage image(320, 240, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<quint32 *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            line[x] = QRandomGenerator::global()->generate();
    }
    return image;
}

} // namespace

class TestCaptureManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void recordsAnAnimatingWindow();
    void staticWindowAndNonVideoBuffersWriteNothing();
    void rotatesAfter600Frames();
    void startFailuresCarryTheirCodes();
    void windowResizeAndCloseKeepTheFrameSize();
    void writerFailureStopsTheRecording();
    void partialRepaintsDecodeToThePaintedWindow();

private:
    QString m_folder;
};

void TestCaptureManager::initTestCase()
{
    QCoreApplication::setApplicationName("tst_capturemanager");
    QStandardPaths::setTestModeEnabled(true);
    m_folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/FHWCaptures";
}

void TestCaptureManager::init()
{
    QDir(m_folder).removeRecursively();
    ScreenRecorder::shared().setStartFailureForTesting(std::nullopt);
}

void TestCaptureManager::recordsAnAnimatingWindow()
{
    CaptureMananger manager;
    // Left over from a crash: the next capture must not care.
    QFile leftover(manager.recordingFileURL().toLocalFile());
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.write(QByteArray(5000, 'x'));
    leftover.close();

    AnimatedWindow window({320, 240});
    QVERIFY(showAsKeyWindow(window));
    test::ConsoleCapture console;
    QElapsedTimer clock;
    clock.start();
    qint64 writerStartedMs = -1;
    qint64 stoppedMs = -1;
    const int token = addConsoleObserver([&](const QString &line) {
        if (line == "Asset writer started" && writerStartedMs < 0)
            writerStartedMs = clock.elapsed();
        if (line == "Recording stopped")
            stoppedMs = clock.elapsed();
    });
    const auto started = startAndWait(manager);
    QVERIFY(started && !*started);
    QVERIFY(console.contains("Screen capture started successfully"));
    QVERIFY(manager.recorder()->isRecording());
    QVERIFY(!manager.recorder()->isMicrophoneEnabled());

    window.setAnimating(true);
    QTest::qWait(2500);
    QVERIFY(stopAndWaitForFile(manager));
    window.setAnimating(false);
    removeConsoleObserver(token);

    QCOMPARE(countLines(console, "Asset writer started"), 1);
    QCOMPARE(countLines(console, "Recording stopped"), 1);
    const auto stats = manager.statistics();
    const test::MovieInfo info = test::probeMovie(manager.recordingFileURL().toLocalFile());
    QVERIFY(info.valid);
    QCOMPARE(info.codecName, QStringLiteral("h264"));
    QCOMPARE(QSize(info.width, info.height), ScreenRecorder::pixelSize(&window));
    QCOMPARE(quint64(info.frameCount), stats.framesAppended);
    QVERIFY2(info.frameCount >= 25, qPrintable(QString::number(info.frameCount)));
    // The movie lasts from the first frame to about the stop.
    const double span = (stoppedMs - writerStartedMs) / 1000.0;
    QVERIFY2(qAbs(info.duration - span) < 0.25,
             qPrintable(QString("duration %1, span %2").arg(info.duration).arg(span)));
}

void TestCaptureManager::staticWindowAndNonVideoBuffersWriteNothing()
{
    CaptureMananger manager;
    ScreenRecorder &recorder = *manager.recorder();
    QWidget window;
    window.resize(200, 150);
    QVERIFY(showAsKeyWindow(window));
    QTest::qWait(200); // let the first paint settle
    test::ConsoleCapture console;
    const auto started = startAndWait(manager);
    QVERIFY(started && !*started);

    const quint64 before = recorder.statistics().framesCaptured;
    QTest::qWait(800);
    QCOMPARE(recorder.statistics().framesCaptured, before);

    const SampleBuffer sound(QImage(), MediaTime{1, 30});
    recorder.deliverSampleForTesting(sound, SampleBufferType::audioApp);
    recorder.deliverSampleForTesting(sound, SampleBufferType::audioMic);
    QTest::qWait(200);
    QCOMPARE(manager.assetWriter()->status(), AssetWriter::Status::unknown);
    QVERIFY(!console.contains("Asset writer started"));

    // The same path does start the writer for a video buffer, and a repaint
    // does make a frame.
    recorder.deliverSampleForTesting(SampleBuffer(solidFrame(0), MediaTime{2, 30}),
                                     SampleBufferType::video);
    QVERIFY(waitUntil([&] { return console.contains("Asset writer started"); }));
    QCOMPARE(manager.assetWriter()->status(), AssetWriter::Status::writing);
    window.update();
    QVERIFY(waitUntil([&] { return recorder.statistics().framesCaptured > before; }));
    QVERIFY(stopAndWaitForFile(manager));
}

void TestCaptureManager::rotatesAfter600Frames()
{
    CaptureMananger manager;
    ScreenRecorder &recorder = *manager.recorder();
    QWidget window;
    window.resize(320, 240);
    QVERIFY(showAsKeyWindow(window));
    QTest::qWait(200);
    test::ConsoleCapture console;
    QSignalSpy rotated(&manager, &CaptureMananger::segmentRotated);
    QVERIFY(startAndWait(manager).value() == std::nullopt);

    // Synthetic frames at 30 per second, each sent once the previous one is
    // handled and the writer is ready, so that none should be dropped.
    auto handled = [&] { return manager.statistics().framesAppended + manager.statistics().framesDropped; };
    for (int k = 0; k < CaptureMananger::kFramesPerSegment; ++k) {
        QVERIFY(waitUntil([&] {
            const auto input = manager.assetWriterInput();
            return handled() == quint64(k) && (k == 0 || input->isReadyForMoreMediaData());
        }));
        recorder.deliverSampleForTesting(SampleBuffer(solidFrame(k), MediaTime{k * 1000, 30000}),
                                         SampleBufferType::video);
    }
    QVERIFY(rotated.wait(10000));
    QVERIFY(waitUntil([&] { return countLines(console, "Screen capture started successfully") == 2; }));
    const auto first = manager.statistics();
    QCOMPARE(first.framesAppended + first.framesDropped, quint64(599));
    QCOMPARE(first.segmentsCompleted, quint64(1));

    const test::MovieInfo recorded = test::probeMovie(manager.recordedFileURL().toLocalFile());
    QVERIFY(recorded.valid);
    QCOMPARE(quint64(recorded.frameCount), first.framesAppended);
    if (first.framesDropped == 0)
        QVERIFY2(qAbs(recorded.duration - 599 / 30.0) < 0.01, qPrintable(QString::number(recorded.duration)));

    // The 601st frame opens the next segment.
    QVERIFY(waitUntil([&] { return manager.assetWriter()->status() == AssetWriter::Status::unknown; }));
    for (int k = 600; k < 610; ++k) {
        QVERIFY(waitUntil([&] {
            const auto input = manager.assetWriterInput();
            return handled() == quint64(k - 1) && (k == 600 || input->isReadyForMoreMediaData());
        }));
        recorder.deliverSampleForTesting(SampleBuffer(solidFrame(k), MediaTime{k * 1000, 30000}),
                                         SampleBufferType::video);
    }
    QVERIFY(waitUntil([&] { return handled() == quint64(609); }));
    QCOMPARE(countLines(console, "Asset writer started"), 2);
    QVERIFY(stopAndWaitForFile(manager));
    const auto second = manager.statistics();
    const test::MovieInfo recording = test::probeMovie(manager.recordingFileURL().toLocalFile());
    QCOMPARE(quint64(recording.frameCount), second.framesAppended - first.framesAppended);
    QVERIFY(recording.frameCount >= 1);
    QCOMPARE(rotated.count(), 1);
}

void TestCaptureManager::startFailuresCarryTheirCodes()
{
    CaptureMananger manager;
    ScreenRecorder &recorder = *manager.recorder();
    test::ConsoleCapture console;
    {
        QWidget window;
        window.resize(100, 100);
        QVERIFY(showAsKeyWindow(window));
        for (auto code : {ScreenRecorder::ErrorCode::userDeclined, ScreenRecorder::ErrorCode::contentResize,
                          ScreenRecorder::ErrorCode::failedToStart}) {
            recorder.setStartFailureForTesting(code);
            const auto result = startAndWait(manager);
            QVERIFY(result && *result);
            QCOMPARE((*result)->code, static_cast<int>(code));
            QCOMPARE((*result)->domain, ScreenRecorder::errorDomain());
            QVERIFY(!(*result)->localizedDescription.isEmpty());
            QVERIFY(!recorder.isRecording());
        }
        recorder.setStartFailureForTesting(std::nullopt);
    }
    QVERIFY(waitUntil([] { return Application::keyWindow() == nullptr; }));
    const auto result = startAndWait(manager);
    QVERIFY(result && *result);
    QCOMPARE((*result)->code, -5803);
    QCOMPARE((*result)->localizedDescription, ScreenRecorder::noWindowDescription());
    QVERIFY(!console.contains("Screen capture started successfully"));
}

void TestCaptureManager::windowResizeAndCloseKeepTheFrameSize()
{
    CaptureMananger manager;
    auto first = std::make_unique<AnimatedWindow>(QSize(320, 240));
    QVERIFY(showAsKeyWindow(*first));
    QVERIFY(startAndWait(manager).value() == std::nullopt);
    first->setAnimating(true);
    QTest::qWait(400);
    first->resize(400, 180);
    QTest::qWait(400);

    AnimatedWindow second({160, 320});
    second.setAnimating(true);
    QVERIFY(showAsKeyWindow(second));
    first.reset(); // closed and gone while recording
    const quint64 before = manager.statistics().framesAppended;
    QVERIFY(waitUntil([&] { return manager.statistics().framesAppended > before + 5; }));
    QVERIFY(stopAndWaitForFile(manager));

    const test::MovieInfo info = test::probeMovie(manager.recordingFileURL().toLocalFile());
    QVERIFY(info.valid);
    QCOMPARE(QSize(info.width, info.height), QSize(320, 240));
    QCOMPARE(quint64(info.frameCount), manager.statistics().framesAppended);
}

void TestCaptureManager::writerFailureStopsTheRecording()
{
    CaptureMananger manager;
    ScreenRecorder &recorder = *manager.recorder();
    QWidget window;
    window.resize(320, 240);
    QVERIFY(showAsKeyWindow(window));
    QTest::qWait(200);
    test::ConsoleCapture console;
    QSignalSpy interrupted(&manager, &CaptureMananger::captureInterrupted);
    QVERIFY(startAndWait(manager).value() == std::nullopt);
    {
        test::FileSizeLimit diskFull(200 * 1024);
        for (int k = 0; k < 300 && recorder.isRecording(); ++k) {
            recorder.deliverSampleForTesting(SampleBuffer(noiseFrame(), MediaTime{k, 30}),
                                             SampleBufferType::video);
            QTest::qWait(5);
        }
        QVERIFY(waitUntil([&] { return interrupted.count() == 1; }));
    }
    QVERIFY(!recorder.isRecording());
    const QString prefix = "Error writing screencast to file: 3 with error: ";
    QCOMPARE(countLines(console, prefix), 1);
    const MediaError error = interrupted.first().first().value<MediaError>();
    QVERIFY(!error.localizedDescription.isEmpty());
    QVERIFY(console.contains(prefix + error.localizedDescription));
    // Nothing more reaches the failed writer.
    recorder.deliverSampleForTesting(SampleBuffer(noiseFrame(), MediaTime{999, 30}),
                                     SampleBufferType::video);
    QTest::qWait(100);
    QCOMPARE(countLines(console, prefix), 1);
}

/// Shows the steps one by one, each as a frame of its own, and checks that
/// every frame in `lumaPlanes` (whatever the recorder made of them) is the
/// window as painted at the step its badge shows.
void checkStepFrames(StepWindow &window, ScreenRecorder &recorder, int steps,
                     const std::function<QList<QByteArray>()> &lumaPlanes)
{
    window.update();
    for (int step = 0; step < steps; ++step) {
        const quint64 before = recorder.statistics().framesCaptured;
        window.setStep(step);
        QVERIFY(waitUntil([&] { return recorder.statistics().framesCaptured > before; }));
    }
    const QList<QByteArray> frames = lumaPlanes();
    QVERIFY2(frames.size() >= steps / 2, qPrintable(QString::number(frames.size())));
    QSet<int> seen;
    for (const QByteArray &frame : frames) {
        const int step = StepWindow::stepIn(frame, window.width());
        QVERIFY2(step < steps, qPrintable(QString::number(step)));
        seen.insert(step);
        window.setStep(step);
        const double error = worstBlockError(frame, window.grab().toImage());
        QVERIFY2(error < 8, qPrintable(QString("step %1: a block is off by %2").arg(step).arg(error)));
    }
    QVERIFY(seen.size() >= steps / 2);
}

void TestCaptureManager::partialRepaintsDecodeToThePaintedWindow()
{
    // Only what was repainted or moved is copied into the recorder's
    // picture: every frame must still be the whole window as painted, in
    // the movie and in every picture the recorder handed out, even while
    // all of them are still held (as by an encoder that is behind).
    StepWindow window;
    QVERIFY(showAsKeyWindow(window));
    QTest::qWait(100);
    {
        CaptureMananger manager;
        QVERIFY(startAndWait(manager).value() == std::nullopt);
        checkStepFrames(window, *manager.recorder(), 45, [&] {
            if (!stopAndWaitForFile(manager))
                return QList<QByteArray>();
            return test::decodedLumaPlanes(manager.recordingFileURL().toLocalFile(), window.width(),
                                           window.height());
        });
    }
    ScreenRecorder recorder;
    QMutex mutex;
    QList<SampleBuffer> held;
    recorder.startCapture(
        [&](const SampleBuffer &sample, SampleBufferType, std::optional<MediaError>) {
            QMutexLocker lock(&mutex);
            held.append(sample);
        },
        {});
    QVERIFY(waitUntil([&] { return recorder.isRecording(); }));
    checkStepFrames(window, recorder, 30, [&] {
        recorder.stopCapture({});
        QMutexLocker lock(&mutex);
        QList<QByteArray> planes;
        for (const SampleBuffer &sample : held) {
            const AVFrame *picture = sample.pixelBuffer().get();
            QByteArray luma;
            for (int y = 0; picture && y < picture->height; ++y)
                luma.append(reinterpret_cast<const char *>(picture->data[0] + y * picture->linesize[0]), picture->width);
            planes.append(luma);
        }
        return planes;
    });
}

QTEST_MAIN(TestCaptureManager)
#include "tst_capturemanager.moc"
