// The timing of every movie the kit writes (a recorded segment, a join, a
// cut, the metadata card clip and the merged report), read back with the
// ffmpeg tools: each decodes without a message, its frames keep their order
// and rising times, and none lasts less than a millisecond.
#include "MovieProbe.h"

#include "capture/CaptureMananger.h"
#include "platform/Application.h"
#include "platform/AssetWriter.h"
#include "platform/AssetWriterInput.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPainter>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QWidget>

using namespace tessivo;

namespace {

constexpr int kBits = 10;
constexpr double kTick = 1.0 / 30;
constexpr int kRecordedBase = 600; // the recorded segment's first number

/// A frame that shows `number` in binary, one wide stripe per bit.
QImage numberedFrame(int number)
{
    QImage image(320, 240, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    for (int bit = 0; bit < kBits; ++bit) {
        if (number & (1 << bit))
            painter.fillRect(bit * 32, 0, 32, 240, Qt::white);
    }
    return image;
}

int numberOf(const QByteArray &columns)
{
    int number = 0;
    for (int bit = 0; bit < kBits; ++bit) {
        const int level = static_cast<uchar>(columns[bit]);
        if (level > 60 && level < 195)
            return -1; // not a numbered frame
        number |= (level >= 195) << bit;
    }
    return number;
}

/// Gaps between frames as they arrive: mostly irregular, some only 0.2 ms.
QList<qint64> arrivalGapsNs(int count)
{
    QRandomGenerator random(7);
    QList<qint64> gaps;
    for (int k = 0; k < count; ++k)
        gaps.append(k % 5 == 2 ? 200'000 : qint64(random.bounded(12, 90)) * 1'000'000 + random.bounded(1'000'000));
    return gaps;
}

bool waitUntil(const std::function<bool()> &condition, int timeoutMs = 10000)
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

std::optional<QUrl> waitForURL(const std::function<void(CaptureMananger::URLCompletion)> &start)
{
    std::optional<QUrl> result;
    start([&](const QUrl &url) { result = url; });
    if (!waitUntil([&] { return result.has_value(); }, 60000))
        return std::nullopt;
    return result;
}

struct Timing {
    QString problem; // empty when the movie is sound
    QList<double> starts;
    QList<double> durations;
    QList<int> numbers; // -1 for frames that carry none (the card)
};

/// Decodes `path` and checks what every movie of the kit must satisfy.
Timing readMovie(const QString &path)
{
    Timing timing;
    const QString messages = test::decodingMessages(path);
    if (!messages.isEmpty()) {
        timing.problem = QStringLiteral("decoding printed: ") + messages.left(300);
        return timing;
    }
    timing.starts = test::decodedFrameTimes(path);
    const test::MovieInfo info = test::probeMovie(path);
    const QList<QByteArray> columns = test::decodedFrameColumns(path, kBits);
    if (timing.starts.isEmpty() || columns.size() != timing.starts.size() || !info.valid) {
        timing.problem = QStringLiteral("%1 frame times for %2 frames").arg(timing.starts.size()).arg(columns.size());
        return timing;
    }
    for (int k = 0; k < timing.starts.size(); ++k) {
        const double end = k + 1 < timing.starts.size() ? timing.starts[k + 1] : info.duration;
        timing.durations.append(end - timing.starts[k]);
        if (timing.durations.last() < 0.001) {
            timing.problem = QStringLiteral("frame %1 at %2 s lasts %3 s")
                                 .arg(k)
                                 .arg(timing.starts[k])
                                 .arg(timing.durations.last());
        }
        timing.numbers.append(numberOf(columns[k]));
    }
    return timing;
}

/// The numbers of frames first to last (exclusive) rise strictly.
QString risingNumbers(const Timing &timing, int first, int last)
{
    for (int k = first; k < last; ++k) {
        if (timing.numbers[k] < 0 || (k > first && timing.numbers[k] <= timing.numbers[k - 1]))
            return QStringLiteral("frame %1 shows %2 after %3").arg(k).arg(timing.numbers[k]).arg(timing.numbers[k - 1]);
    }
    return {};
}

} // namespace

class CaptureTimingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyMovieDecodesInOrderWithRealDurations();
    void cleanupTestCase();

private:
    QString m_stash;
};

void CaptureTimingTest::initTestCase()
{
    QCoreApplication::setApplicationName("tst_capturetiming");
    QStandardPaths::setTestModeEnabled(true);
    m_stash = QDir::tempPath() + "/tst_capturetiming-" + QString::number(QCoreApplication::applicationPid());
    QVERIFY(QDir().mkpath(m_stash));
}

void CaptureTimingTest::cleanupTestCase()
{
    QDir(m_stash).removeRecursively();
    QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)).removeRecursively();
}

void CaptureTimingTest::everyMovieDecodesInOrderWithRealDurations()
{
    CaptureMananger manager;
    manager.deleteAllFiles();
    QWidget window;
    window.resize(320, 240);
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window) && Application::keyWindow() == &window);
    QTest::qWait(200); // the first paint settles before recording

    // A recorded segment: numbered frames reach the recorder at irregular
    // times, some of them 0.2 ms after the one before.
    std::optional<std::optional<MediaError>> started;
    manager.startCapture([&](std::optional<MediaError> error) { started = error; });
    QVERIFY(waitUntil([&] { return started.has_value(); }) && !*started);
    ScreenRecorder &recorder = *manager.recorder();
    const QList<qint64> gaps = arrivalGapsNs(100);
    qint64 at = 0;
    for (int k = 0; k < gaps.size(); ++k) {
        at += gaps[k];
        QVERIFY(waitUntil([&] {
            const auto input = manager.assetWriterInput();
            return k == 0 || (input && input->isReadyForMoreMediaData());
        }));
        recorder.deliverSampleForTesting(SampleBuffer(numberedFrame(kRecordedBase + k), MediaTime{at, 1'000'000'000}),
                                         SampleBufferType::video);
        QTest::qWait(3);
    }
    QSignalSpy written(&manager, &CaptureMananger::recordingWritten);
    recorder.stopCapture(manager.stopHandler());
    QVERIFY(written.wait(10000));
    const QString segment = m_stash + "/segment.mov";
    QVERIFY(QFile::copy(manager.recordingFileURL().toLocalFile(), segment));

    // A 12 s segment written straight to the writer, also at irregular
    // times with frames 0.2 ms apart: the segment before the recorded one.
    const QString longSegment = m_stash + "/long.mov";
    {
        auto writer = AssetWriter::create(QUrl::fromLocalFile(longSegment), FileType::quickTimeMovie);
        auto input = std::make_shared<AssetWriterInput>(MediaType::video,
                                                        VideoOutputSettings{VideoCodecType::h264, 320, 240});
        writer->add(input);
        QVERIFY(writer->startWriting());
        writer->startSession({0, 1000});
        qint64 ns = 0;
        int number = 0;
        for (qint64 gap : arrivalGapsNs(600)) {
            if (ns > 12'000'000'000)
                break;
            QVERIFY(waitUntil([&] { return input->isReadyForMoreMediaData(); }));
            QVERIFY(input->append(SampleBuffer(numberedFrame(number++), MediaTime{ns, 1'000'000'000})));
            ns += gap;
        }
        std::atomic<bool> done{false};
        writer->finishWriting([&] { done = true; });
        QVERIFY(waitUntil([&] { return done.load(); }, 30000));
        QCOMPARE(writer->status(), AssetWriter::Status::completed);
    }

    struct Movie {
        QString name;
        QString path;
        bool withCards = false;
    };
    QList<Movie> movies = {{"segment", segment}, {"12 s segment", longSegment}};

    // The join: the last 10 s of the long segment followed by the recorded one.
    QVERIFY(QFile::copy(longSegment, manager.recordedFileURL().toLocalFile()));
    QVERIFY(waitForURL([&](auto done) {
        manager.mergeVideos(manager.recordedFileURL(), manager.recordingFileURL(), false, 10.0f, done);
    }));
    movies.append({"join", m_stash + "/join.mov"});
    QVERIFY(QFile::copy(manager.finalFileURL().toLocalFile(), movies.last().path));

    // The cut: the long segment's last 10 s.
    QVERIFY(waitForURL([&](auto done) {
        manager.cutToLastSeconds(MediaAsset::load(QUrl::fromLocalFile(longSegment)), 10.0f, done);
    }));
    movies.append({"cut", m_stash + "/cut.mp4"});
    QVERIFY(QFile::copy(manager.finalFileURL().toLocalFile(), movies.last().path));

    // The card clip and the report merged around the cut.
    QImage card(320, 240, QImage::Format_RGB32);
    card.fill(QColor(128, 128, 128));
    const auto merged = waitForURL([&](auto done) { manager.makeMetadataVideo(card, manager.finalFileURL(), done); });
    QVERIFY(merged);
    movies.append({"card clip", manager.metadataFileURL().toLocalFile(), true});
    movies.append({"merged report", merged->toLocalFile(), true});

    for (const Movie &movie : movies) {
        const Timing timing = readMovie(movie.path);
        QVERIFY2(timing.problem.isEmpty(), qPrintable(movie.name + ": " + timing.problem));
        for (int k = 1; k < timing.starts.size(); ++k)
            QVERIFY2(timing.starts[k] > timing.starts[k - 1], qPrintable(movie.name));
        const int count = int(timing.starts.size());
        if (movie.name == "card clip") {
            QCOMPARE(count, 1);
            QVERIFY2(std::abs(timing.durations[0] - 1.0) <= kTick, qPrintable(QString::number(timing.durations[0])));
        } else if (movie.withCards) {
            // Card, the cut's frames as they were, card; each card 1 s.
            QVERIFY(count > 3);
            QVERIFY2(std::abs(timing.durations.first() - 1.0) <= kTick, qPrintable(QString::number(timing.durations.first())));
            QVERIFY2(std::abs(timing.durations.last() - 1.0) <= kTick, qPrintable(QString::number(timing.durations.last())));
            const QString order = risingNumbers(timing, 1, count - 1);
            QVERIFY2(order.isEmpty(), qPrintable(movie.name + ": " + order));
            QCOMPARE(timing.numbers.mid(1, count - 2), readMovie(movies[3].path).numbers);
        } else {
            const QString order = risingNumbers(timing, 0, count);
            QVERIFY2(order.isEmpty(), qPrintable(movie.name + ": " + order));
        }
    }
    // The recorded frames kept their real times, to within a tick; the join
    // ends with the recorded segment, frame for frame.
    const Timing recorded = readMovie(segment);
    QVERIFY(recorded.numbers.size() >= 50);
    qint64 arrival = 0;
    QList<double> arrivals;
    for (qint64 gap : gaps)
        arrivals.append((arrival += gap) / 1e9);
    for (int k = 0; k < recorded.numbers.size(); ++k) {
        const double real = arrivals[recorded.numbers[k] - kRecordedBase] - arrivals[recorded.numbers[0] - kRecordedBase];
        QVERIFY2(std::abs(recorded.starts[k] - recorded.starts[0] - real) <= kTick / 2 + 1e-6,
                 qPrintable(QString("frame %1 at %2 s, arrived at %3 s").arg(k).arg(recorded.starts[k]).arg(real)));
    }
    const Timing join = readMovie(movies[2].path);
    QCOMPARE(join.numbers.mid(join.numbers.size() - recorded.numbers.size()), recorded.numbers);
}

QTEST_MAIN(CaptureTimingTest)
#include "tst_capturetiming.moc"
