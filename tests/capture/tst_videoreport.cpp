// The video report: the join and cut of recording segments to the last ten
// seconds, the metadata clip around the video, the still frame, the video
// and screenshot options, and their faults. Movies are checked with the
// ffprobe and ffmpeg tools.
#include "MovieProbe.h"
#include "TestSupport.h"

#include "capture/CaptureMananger.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "metadata/VideoMetadataView.h"
#include "platform/AlertController.h"
#include "platform/AssetWriter.h"
#include "platform/AssetWriterInput.h"
#include "platform/Console.h"
#include "platform/Storyboard.h"
#include "platform/UserDefaults.h"
#include "platform/ViewController.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMediaPlayer>
#include <QPainter>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QVideoFrame>
#include <QVideoSink>

#include <atomic>
#include <cmath>

using namespace tessivo;

namespace {

constexpr double kFrame = 1.0 / 30;

/// What the capture manager opens: the editors' handover properties.
class EditorStandIn : public ViewController
{
    Q_OBJECT
    Q_PROPERTY(QUrl videoFileURL MEMBER videoFileURL)
    Q_PROPERTY(QImage image MEMBER image)
public:
    QUrl videoFileURL;
    QImage image;
};

/// A host window that repaints 30 times a second with a moving square.
class AnimatedWindow : public QWidget
{
public:
    AnimatedWindow()
    {
        resize(320, 240);
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
        p.fillRect(rect(), QColor::fromHsv((m_step * 5) % 360, 120, 230));
        p.fillRect((m_step * 7) % (width() - 40), height() / 3, 40, 40, Qt::darkBlue);
    }

private:
    QTimer m_timer;
    int m_step = 0;
};

TessivoKit &kit()
{
    return TessivoKit::shared();
}

CaptureMananger &manager()
{
    return *kit().captureManager();
}

QString pathOf(const QUrl &url)
{
    return url.toLocalFile();
}

/// A movie of `frames` synthetic frames at 30 per second, written by the
/// recorder's own writer (no waiting in real time).
bool writeMovie(const QString &path, QSize size, int frames, int hueStep = 3)
{
    QFile::remove(path);
    auto writer = AssetWriter::create(QUrl::fromLocalFile(path), FileType::quickTimeMovie);
    auto input = std::make_shared<AssetWriterInput>(
        MediaType::video, VideoOutputSettings{VideoCodecType::h264, double(size.width()), double(size.height())});
    writer->add(input);
    if (!writer->startWriting())
        return false;
    writer->startSession({0, 30});
    for (int k = 0; k < frames; ++k) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(QColor::fromHsv((k * hueStep) % 360, 200, 210));
        QPainter(&image).fillRect((k * 4) % (size.width() - 30), size.height() / 2, 30, 30, Qt::white);
        if (!QTest::qWaitFor([&] { return input->isReadyForMoreMediaData(); }, 10000))
            return false;
        input->append(SampleBuffer(image, MediaTime{k, 30}));
    }
    std::atomic<bool> done{false};
    writer->finishWriting([&] { done = true; });
    return QTest::qWaitFor([&] { return done.load(); }, 20000)
           && writer->status() == AssetWriter::Status::completed;
}

double meanDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size() || a.isNull())
        return 1e9;
    const QImage x = a.convertToFormat(QImage::Format_RGB888);
    const QImage y = b.convertToFormat(QImage::Format_RGB888);
    qint64 sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const uchar *p = x.constScanLine(row);
        const uchar *q = y.constScanLine(row);
        for (int i = 0; i < x.width() * 3; ++i)
            sum += std::abs(p[i] - q[i]);
    }
    return double(sum) / (x.width() * x.height() * 3);
}

QImage frameOf(const QString &path, int index)
{
    return test::movieFrame(path, index, 320, 240);
}

/// Whether the movie's index (moov) comes before its media data.
bool indexFirst(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(1 << 20);
    const int moov = head.indexOf("moov");
    const int mdat = head.indexOf("mdat");
    return moov >= 0 && (mdat < 0 || moov < mdat);
}

QByteArray majorBrand(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.read(12).mid(8, 4) : QByteArray();
}

/// Plays the movie with the Qt player to its end: the duration it
/// reports in ms, or -1 when it fails or shows no frame.
qint64 qtPlayerDuration(const QString &path)
{
    QMediaPlayer player;
    QVideoSink sink;
    player.setVideoSink(&sink);
    int frames = 0;
    bool failed = false;
    QObject::connect(&sink, &QVideoSink::videoFrameChanged, [&](const QVideoFrame &f) { frames += f.isValid(); });
    QObject::connect(&player, &QMediaPlayer::errorOccurred, [&] { failed = true; });
    player.setSource(QUrl::fromLocalFile(path));
    player.play();
    const bool ended = QTest::qWaitFor([&] {
        return failed || player.mediaStatus() == QMediaPlayer::EndOfMedia
               || player.mediaStatus() == QMediaPlayer::InvalidMedia;
    }, 20000);
    return ended && !failed && player.mediaStatus() == QMediaPlayer::EndOfMedia && frames > 0 ? player.duration() : -1;
}

/// Runs a completion-style operation and waits for its URL.
template<typename Start>
std::optional<QUrl> waitForURL(Start start, int timeoutMs = 30000)
{
    std::optional<QUrl> result;
    bool mainThread = false;
    start([&](const QUrl &url) {
        mainThread = QThread::currentThread() == qApp->thread();
        result = url;
    });
    if (!QTest::qWaitFor([&] { return result.has_value(); }, timeoutMs) || !mainThread)
        return std::nullopt;
    return result;
}

} // namespace

class VideoReportTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    QTemporaryDir m_scratch; // movies made by the tests themselves
    std::unique_ptr<AnimatedWindow> m_host;
    QString m_recording4s; // a real recording of about 4 s, kept aside
    QString m_previous10s; // a synthetic 10 s segment
    test::MovieInfo m_recordingInfo;

    void place(const QString &source, const QUrl &target)
    {
        QFile::remove(pathOf(target));
        QVERIFY(QFile::copy(source, pathOf(target)));
    }

    EditorStandIn *presentedEditor()
    {
        return qobject_cast<EditorStandIn *>(topMostViewController());
    }

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void missingEditorsEndTheSession();
    void joinKeepsTheLastTenSecondsOfTwoSegments();
    void videoOptionChoosesJoinCutOrTheSegmentItself();
    void mergedReportIsCardVideoCard();
    void stillFrameIsTheLastFrame();
    void missingEmptyAndBrokenRecordings();
    void segmentsOfDifferentSizesStillJoin();
    void captureChoiceScreenOpensTheEditors();
};

void VideoReportTest::initTestCase()
{
    QCoreApplication::setApplicationName("tst_videoreport");
    QCoreApplication::setApplicationVersion("2.4");
    QStandardPaths::setTestModeEnabled(true);
    manager().deleteAllFiles();

    m_host = std::make_unique<AnimatedWindow>();
    m_host->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
    QApplication::setActiveWindow(m_host.get());
    QTRY_VERIFY(topMostViewController() == ViewController::rootOf(m_host.get()));

    // A real recording of the animating window, about 4 s long.
    std::optional<std::optional<MediaError>> started;
    manager().startCapture([&](std::optional<MediaError> error) { started = error; });
    QTRY_VERIFY(started.has_value());
    QVERIFY(!*started);
    m_host->setAnimating(true);
    QTest::qWait(4200);
    QSignalSpy written(&manager(), &CaptureMananger::recordingWritten);
    manager().recorder()->stopCapture(manager().stopHandler());
    QVERIFY(written.wait(10000));
    m_host->setAnimating(false);

    QVERIFY(m_scratch.isValid());
    m_recording4s = m_scratch.filePath("recording4s.mov");
    m_previous10s = m_scratch.filePath("previous10s.mov");
    QFile::remove(m_recording4s);
    QVERIFY(QFile::copy(pathOf(manager().recordingFileURL()), m_recording4s));
    m_recordingInfo = test::probeMovie(m_recording4s);
    QVERIFY(m_recordingInfo.valid);
    QVERIFY2(m_recordingInfo.duration > 3.5 && m_recordingInfo.duration < 5,
             qPrintable(QString::number(m_recordingInfo.duration)));
    QVERIFY(writeMovie(m_previous10s, {320, 240}, 300));
}

void VideoReportTest::init()
{
    manager().deleteAllFiles();
    UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
    kit().navigationAlreadyStarted = true;
    // Stand-ins for the editors, after the test of their absence.
    Storyboard &main = Storyboard::named("Main");
    if (QByteArray(QTest::currentTestFunction()) != "missingEditorsEndTheSession") {
        main.registerController("videoEditor", [] { return new EditorStandIn; });
        main.registerController("photoEditor", [] { return new EditorStandIn; });
    } else {
        main.removeController("videoEditor");
        main.removeController("photoEditor");
    }
}

void VideoReportTest::cleanup()
{
    ViewController *root = ViewController::rootOf(m_host.get());
    if (root->presentedViewController()) {
        bool gone = false;
        root->dismiss(false, [&] { gone = true; });
        QTRY_VERIFY(gone);
    }
}

void VideoReportTest::missingEditorsEndTheSession()
{
    // Before the editors are in the storyboard, the options say so and the
    // session ends instead of hanging.
    test::ConsoleCapture console;
    place(m_recording4s, manager().recordingFileURL());
    manager().produceVideoFeedback();
    QTRY_VERIFY(!kit().navigationAlreadyStarted);
    QVERIFY(console.contains("\"videoEditor\" screen is not available"));

    kit().navigationAlreadyStarted = true;
    manager().produceScreenshotFromRecording();
    QTRY_VERIFY(!kit().navigationAlreadyStarted);
    QVERIFY(console.contains("\"photoEditor\" screen is not available"));
    QCOMPARE(topMostViewController(), ViewController::rootOf(m_host.get()));

}

void VideoReportTest::joinKeepsTheLastTenSecondsOfTwoSegments()
{
    const QString recorded = pathOf(manager().recordedFileURL());
    place(m_previous10s, manager().recordedFileURL());
    place(m_recording4s, manager().recordingFileURL());
    const auto url = waitForURL([&](auto done) {
        manager().mergeVideos(manager().recordedFileURL(), manager().recordingFileURL(), false, 10.0f, done);
    });
    QCOMPARE(url, std::optional(manager().finalFileURL()));
    const QString final = pathOf(manager().finalFileURL());
    const test::MovieInfo info = test::probeMovie(final);
    QVERIFY(info.valid);
    QCOMPARE(info.codecName, QString("h264"));
    QCOMPARE(QSize(info.width, info.height), QSize(320, 240));
    QVERIFY2(std::abs(info.duration - 10.0) <= kFrame, qPrintable(QString::number(info.duration)));
    QVERIFY(indexFirst(final));
    QCOMPARE(majorBrand(final), QByteArray("qt  "));

    // The span from d to 10 + d of the joined 10 + d seconds: the previous
    // segment's frames from d on, then every frame of the recording.
    const double d = m_recordingInfo.duration;
    const int firstKept = int(std::ceil(d * 30 - 1e-6));
    const int expected = (300 - firstKept) + m_recordingInfo.frameCount;
    QVERIFY2(std::abs(info.frameCount - expected) <= 1,
             qPrintable(QString("%1 frames, expected %2").arg(info.frameCount).arg(expected)));
    // Packets are copied: decoded frames are the sources' own, exactly.
    const int offset = info.frameCount - expected; // 0 or ±1 at the cut
    QCOMPARE(meanDifference(frameOf(final, 0), frameOf(recorded, firstKept - offset)), 0.0);
    QCOMPARE(meanDifference(frameOf(final, 300 - firstKept + offset), frameOf(m_recording4s, 0)), 0.0);
    QCOMPARE(meanDifference(frameOf(final, info.frameCount - 1),
                            frameOf(m_recording4s, m_recordingInfo.frameCount - 1)),
             0.0);
}

void VideoReportTest::videoOptionChoosesJoinCutOrTheSegmentItself()
{
    struct Case {
        const char *name;
        QString recording;
        bool previous;
        bool expectFinal;
        double expectedDuration;
    };
    // 350 frames: the cut starts inside a group of pictures.
    const QString twelve = m_scratch.filePath("12s.mov");
    QVERIFY(writeMovie(twelve, {320, 240}, 350));
    const QList<Case> cases = {
        {"4 s alone", m_recording4s, false, false, m_recordingInfo.duration},
        {"exactly 10 s", m_previous10s, true, false, 10.0},
        {"4 s after 10 s", m_recording4s, true, true, 10.0},
        {"11.7 s", twelve, false, true, 10.0},
    };
    for (const Case &c : cases) {
        manager().deleteAllFiles();
        kit().navigationAlreadyStarted = true;
        place(c.recording, manager().recordingFileURL());
        if (c.previous)
            place(m_previous10s, manager().recordedFileURL());
        manager().produceVideoFeedback();
        QTRY_VERIFY_WITH_TIMEOUT(presentedEditor(), 20000);
        const QUrl expected = c.expectFinal ? manager().finalFileURL() : manager().recordingFileURL();
        QVERIFY2(presentedEditor()->videoFileURL == expected, c.name);
        QCOMPARE(presentedEditor()->modalPresentationStyle(), ModalPresentationStyle::overFullScreen);
        QVERIFY(kit().navigationAlreadyStarted);
        QVERIFY2(QFileInfo::exists(pathOf(manager().finalFileURL())) == c.expectFinal, c.name);
        const test::MovieInfo info = test::probeMovie(pathOf(expected));
        QVERIFY2(std::abs(info.duration - c.expectedDuration) <= kFrame,
                 qPrintable(QString("%1: %2 s").arg(c.name).arg(info.duration)));
        if (QByteArray(c.name) == "11.7 s") {
            // The cut writes MPEG-4 data: the last 300 frames, as they were.
            QCOMPARE(majorBrand(pathOf(expected)), QByteArray("isom"));
            QVERIFY(std::abs(info.frameCount - 300) <= 1);
            QCOMPARE(meanDifference(frameOf(pathOf(expected), 0), frameOf(twelve, 350 - info.frameCount)), 0.0);
        }
        cleanup();
    }
    QFile::remove(twelve);
}

void VideoReportTest::mergedReportIsCardVideoCard()
{
    test::ConsoleCapture console;
    VideoMetadataView view;
    view.setMetadata({std::nullopt, "The button does nothing", "Ada", {"Bug"}});
    const QImage card = view.renderFrame({320, 240}, qApp->devicePixelRatio());

    // "finalVideo" is a 10 s join that starts inside a group of pictures
    // (hidden by an edit list), so the merge re-encodes that group's frames.
    place(m_previous10s, manager().recordedFileURL());
    place(m_recording4s, manager().recordingFileURL());
    QVERIFY(waitForURL([&](auto done) {
        manager().mergeVideos(manager().recordedFileURL(), manager().recordingFileURL(), false, 10.0f, done);
    }));
    const QString final = m_scratch.filePath("final.mov");
    QFile::remove(final);
    QVERIFY(QFile::copy(pathOf(manager().finalFileURL()), final));
    // The video is the one handed over: "finalVideo", then the recording.
    for (const auto &[video, handed] : {std::pair(final, manager().finalFileURL()),
                                        std::pair(m_recording4s, manager().recordingFileURL())}) {
        const test::MovieInfo source = test::probeMovie(video);
        const auto url = waitForURL([&](auto done) { manager().makeMetadataVideo(&view, handed, done); });
        QCOMPARE(url, std::optional(manager().metadataMergedFileURL()));
        QVERIFY(console.contains("Metadata video saved"));
        const QString merged = pathOf(*url);
        const test::MovieInfo info = test::probeMovie(merged);
        QVERIFY2(std::abs(info.duration - (source.duration + 2)) <= kFrame,
                 qPrintable(QString("%1 s for a %2 s video").arg(info.duration).arg(source.duration)));
        QCOMPARE(info.frameCount, source.frameCount + 2); // one frame per card
        QVERIFY(indexFirst(merged));
        if (video == final) // the Qt player plays in real time: once is enough
            QVERIFY(std::abs(qtPlayerDuration(merged) - info.duration * 1000) <= 34);
        // The cards are the rendered card (as close as H.264 allows); the
        // video in between is the source's own frames, apart from a smart
        // cut's few re-encoded ones at its start.
        for (int index : {0, info.frameCount - 1})
            QVERIFY2(meanDifference(frameOf(merged, index), card) < 6, qPrintable(QString::number(index)));
        QVERIFY(meanDifference(frameOf(merged, 1), frameOf(video, 0)) < 3);
        QCOMPARE(meanDifference(frameOf(merged, 1 + 40), frameOf(video, 40)), 0.0);
        QCOMPARE(meanDifference(frameOf(merged, info.frameCount - 2), frameOf(video, source.frameCount - 1)), 0.0);
    }
    QFile::remove(final);
}

void VideoReportTest::stillFrameIsTheLastFrame()
{
    place(m_recording4s, manager().recordingFileURL());
    const QImage last = frameOf(m_recording4s, m_recordingInfo.frameCount - 1);
    std::optional<std::optional<QImage>> result;
    manager().stillFrame([&](const std::optional<QImage> &image) { result = image; });
    QTRY_VERIFY(result.has_value());
    QVERIFY(result->has_value());
    QCOMPARE(meanDifference(**result, last), 0.0);
    // (The frame before it differs: the window was animating.)
    QVERIFY(meanDifference(**result, frameOf(m_recording4s, m_recordingInfo.frameCount - 2)) > 1.0);

    manager().produceScreenshotFromRecording();
    QTRY_VERIFY(presentedEditor());
    QCOMPARE(meanDifference(presentedEditor()->image, last), 0.0);
    QVERIFY(kit().navigationAlreadyStarted);
}

void VideoReportTest::missingEmptyAndBrokenRecordings()
{
    test::ConsoleCapture console;
    auto alertMessage = []() -> QString {
        auto *alert = qobject_cast<AlertController *>(topMostViewController());
        return alert && alert->message() ? *alert->message() : QString();
    };
    // No recording and no consent: the permission alert, for both options.
    UserDefaults::standard().setBool(false, "userAllowedRecordingKey");
    manager().produceVideoFeedback();
    QVERIFY(!kit().navigationAlreadyStarted);
    QTRY_COMPARE(alertMessage(), QString("To enable video feedback, allow Tessivo to record your screen."));
    cleanup();
    kit().navigationAlreadyStarted = true;
    manager().produceScreenshotFromRecording();
    QTRY_COMPARE(alertMessage(), QString("To enable video feedback, allow Tessivo to record your screen."));
    cleanup();

    // With consent: no file, an empty movie and a truncated one all say that
    // nothing was recorded.
    UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
    const QString noActivity = "There has been no activity to record since enabling recording screen.";
    const QString empty = m_scratch.filePath("empty.mov");
    QVERIFY(writeMovie(empty, {320, 240}, 0));
    QFile source(m_recording4s);
    QVERIFY(source.open(QIODevice::ReadOnly));
    const QByteArray truncated = source.read(source.size() / 2);
    for (int variant = 0; variant < 3; ++variant) {
        manager().deleteAllFiles();
        if (variant == 1)
            place(empty, manager().recordingFileURL());
        if (variant == 2) {
            QFile file(pathOf(manager().recordingFileURL()));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(truncated);
        }
        for (bool video : {true, false}) {
            kit().navigationAlreadyStarted = true;
            video ? manager().produceVideoFeedback() : manager().produceScreenshotFromRecording();
            QTRY_COMPARE(alertMessage(), noActivity);
            QVERIFY(!kit().navigationAlreadyStarted);
            cleanup();
        }
    }
    QVERIFY(console.contains("Cannot read the recording: "));
    QFile::remove(empty);

    // A join with an unreadable input stops after its console line; the
    // completion is never called, the failure callback is.
    place(m_recording4s, manager().recordingFileURL());
    QFile broken(pathOf(manager().recordedFileURL()));
    QVERIFY(broken.open(QIODevice::WriteOnly));
    broken.write(truncated);
    broken.close();
    for (bool firstBroken : {true, false}) {
        console.clear();
        bool completed = false;
        std::optional<MediaError> failure;
        const QUrl good = manager().recordingFileURL();
        const QUrl bad = manager().recordedFileURL();
        manager().mergeVideos(firstBroken ? bad : good, firstBroken ? good : bad, false, 10.0f,
                              [&](const QUrl &) { completed = true; },
                              [&](const MediaError &error) { failure = error; });
        QTRY_VERIFY(failure.has_value());
        QVERIFY(!failure->localizedDescription.isEmpty());
        QVERIFY(console.contains(firstBroken ? "Failed to load first track" : "Failed to load second track"));
        QTest::qWait(50);
        QVERIFY(!completed);
    }
    // Through the video option, the session ends instead of hanging.
    kit().navigationAlreadyStarted = true;
    manager().produceVideoFeedback();
    QTRY_VERIFY(!kit().navigationAlreadyStarted);
    QVERIFY(!presentedEditor());

    // An export that cannot write its file is reported, and no editor opens
    // on a video that is not there.
    manager().deleteAllFiles();
    place(m_recording4s, manager().recordingFileURL());
    place(m_previous10s, manager().recordedFileURL());
    QVERIFY(QDir().mkpath(pathOf(manager().finalFileURL()) + "/occupied"));
    console.clear();
    kit().navigationAlreadyStarted = true;
    manager().produceVideoFeedback();
    QTRY_VERIFY(!kit().navigationAlreadyStarted);
    QVERIFY(console.contains("Export failed: "));
    QVERIFY(console.contains("Tessivo: the video could not be prepared"));
    QVERIFY(!presentedEditor());
    QDir(pathOf(manager().finalFileURL())).removeRecursively();
}

void VideoReportTest::segmentsOfDifferentSizesStillJoin()
{
    // The window was resized between two segments: the join re-encodes to
    // the newer size instead of failing.
    const QString wide = m_scratch.filePath("wide.mov");
    QVERIFY(writeMovie(wide, {400, 240}, 120));
    place(m_previous10s, manager().recordedFileURL());
    place(wide, manager().recordingFileURL());
    const auto url = waitForURL([&](auto done) {
        manager().mergeVideos(manager().recordedFileURL(), manager().recordingFileURL(), false, 10.0f, done);
    });
    QVERIFY(url);
    const test::MovieInfo info = test::probeMovie(pathOf(*url));
    QCOMPARE(QSize(info.width, info.height), QSize(400, 240));
    QVERIFY2(std::abs(info.duration - 10.0) <= kFrame, qPrintable(QString::number(info.duration)));
    QVERIFY(std::abs(info.frameCount - 300) <= 1);
    QFile::remove(wide);
}

void VideoReportTest::captureChoiceScreenOpensTheEditors()
{
    auto openChoice = [&]() -> SelectOptionViewController * {
        ViewController *top = topMostViewController();
        top->present(Storyboard::named("Main").instantiateViewController("initialNavController"), false);
        SelectOptionViewController *screen = nullptr;
        QTest::qWaitFor([&] { return (screen = qobject_cast<SelectOptionViewController *>(topMostViewController())); });
        return screen;
    };
    // The video tile before consent: the permission alert.
    UserDefaults::standard().setBool(false, "userAllowedRecordingKey");
    SelectOptionViewController *screen = openChoice();
    QVERIFY(screen);
    screen->showVideoMenu();
    QTRY_VERIFY(qobject_cast<AlertController *>(topMostViewController()));
    QCOMPARE(qobject_cast<AlertController *>(topMostViewController())->alertTitle(),
             std::optional<QString>("Enable video recording"));
    QVERIFY(!kit().navigationAlreadyStarted);
    cleanup();

    // With a recording: the video editor, and the recording's last frame for
    // the screenshot tile when the host draws with WebGL.
    UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
    place(m_recording4s, manager().recordingFileURL());
    kit().navigationAlreadyStarted = true;
    openChoice()->showVideoMenu();
    QTRY_VERIFY(presentedEditor());
    QCOMPARE(presentedEditor()->videoFileURL, manager().recordingFileURL());
    cleanup();
    kit().useRecordingForScreenshot = true;
    openChoice()->showScreenshotMenu();
    QTRY_VERIFY(presentedEditor());
    QCOMPARE(presentedEditor()->image.size(), QSize(320, 240));
    kit().useRecordingForScreenshot = false;
}

QTEST_MAIN(VideoReportTest)
#include "tst_videoreport.moc"
