// The movie writer on its own: what it writes, its back-pressure and its
// failures, read back with ffprobe.
#include "FileSizeLimit.h"
#include "MovieProbe.h"

#include "platform/AssetWriter.h"
#include "platform/AssetWriterInput.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cmath>
#include <utility>

using namespace tessivo;

namespace {

QImage solidFrame(QSize size, QColor colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

QImage noiseFrame(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    auto *rng = QRandomGenerator::global();
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<quint32 *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            line[x] = rng->generate() | 0xff000000u;
    }
    return image;
}

struct Writer {
    std::shared_ptr<AssetWriter> writer;
    std::shared_ptr<AssetWriterInput> input;
};

Writer makeWriter(const QString &path, QSize size, bool realTime = true)
{
    Writer w;
    w.writer = AssetWriter::create(QUrl::fromLocalFile(path), FileType::quickTimeMovie);
    w.input = std::make_shared<AssetWriterInput>(
        MediaType::video,
        VideoOutputSettings{VideoCodecType::h264, double(size.width()), double(size.height())});
    w.input->setExpectsMediaDataInRealTime(realTime);
    w.writer->add(w.input);
    return w;
}

/// Finishes and waits; returns the thread the completion ran on.
QThread *finishAndWait(AssetWriter &writer)
{
    std::atomic<QThread *> thread{nullptr};
    writer.finishWriting([&] { thread = QThread::currentThread(); });
    if (!QTest::qWaitFor([&] { return thread.load() != nullptr; }, 20000))
        return nullptr;
    return thread;
}

} // namespace

class TestAssetWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesMovieWithFittedFramesAndKeyframes();
    void readinessFollowsTheEncoderQueue();
    void fullDiskFailsTheWriter();
    void statusesOutsideNormalWriting();

private:
    QTemporaryDir m_dir;
};

void TestAssetWriter::writesMovieWithFittedFramesAndKeyframes()
{
    const QString path = m_dir.filePath("fit.mov");
    // Odd sizes are rounded down to even.
    Writer w = makeWriter(path, QSize(321, 241));
    QCOMPARE(w.writer->status(), AssetWriter::Status::unknown);
    QVERIFY(w.writer->startWriting());
    QCOMPARE(w.writer->status(), AssetWriter::Status::writing);
    const MediaTime start{5'000'000'000, 1'000'000'000};
    w.writer->startSession(start);

    // 3.4 s of frames with uneven gaps, a pause of 1.6 s in the middle, and
    // frames of three sizes; the last ones are tall and red.
    // Frames take the nearest 1/30 s tick; one whose tick is taken is left out.
    qint64 us = 0;
    int appended = 0;
    qint64 tick = -1, previousTick = -1;
    for (int i = 0; i < 80; ++i) {
        if (i > 0)
            us += (i == 40) ? 1'600'000 : (i % 2 ? 30'000 : 40'000);
        QImage frame = i < 30   ? solidFrame({320, 240}, Qt::blue)
                       : i < 60 ? solidFrame({1280, 720}, Qt::green)
                                : solidFrame({100, 300}, Qt::red);
        QVERIFY(QTest::qWaitFor([&] { return w.input->isReadyForMoreMediaData(); }, 5000));
        QVERIFY(w.input->append(SampleBuffer(frame, MediaTime{start.value / 1000 + us, 1'000'000})));
        if (const qint64 t = std::llround(us * 30 / 1e6); t > tick) {
            previousTick = std::exchange(tick, t);
            ++appended;
        }
    }
    QThread *completionThread = finishAndWait(*w.writer);
    QVERIFY(completionThread);
    QVERIFY(completionThread != QThread::currentThread());
    QCOMPARE(w.writer->status(), AssetWriter::Status::completed);
    QVERIFY(!w.input->isReadyForMoreMediaData());

    const test::MovieInfo info = test::probeMovie(path);
    QVERIFY(info.valid);
    QVERIFY(info.formatName.contains("mov"));
    QCOMPARE(info.codecName, QStringLiteral("h264"));
    QCOMPARE(QSize(info.width, info.height), QSize(320, 240));
    QCOMPARE(info.frameCount, appended);
    // First frame at 0, the last on its tick, lasting as long as the one before.
    QVERIFY(appended < 80);
    const double expected = (2 * tick - previousTick) / 30.0;
    QVERIFY2(qAbs(info.duration - expected) < 0.02,
             qPrintable(QString("duration %1, expected %2").arg(info.duration).arg(expected)));
    // Keyframes: the first frame, then never more than a second apart while
    // frames flow, and right after the pause.
    QVERIFY(!info.keyframeTimes.isEmpty());
    QCOMPARE(info.keyframeTimes.first(), 0.0);
    for (int i = 1; i < info.keyframeTimes.size(); ++i) {
        const double gap = info.keyframeTimes[i] - info.keyframeTimes[i - 1];
        const bool acrossPause = info.keyframeTimes[i - 1] < 1.42 && info.keyframeTimes[i] > 1.42;
        QVERIFY2(gap <= 1.0 || acrossPause, qPrintable(QString("keyframe gap %1").arg(gap)));
    }
    QVERIFY(info.keyframeTimes.size() >= 4);

    // The tall red frame is fitted: red in the middle, black at the sides.
    const QImage last = test::movieFrame(path, appended - 1, 320, 240);
    QVERIFY(!last.isNull());
    const QColor middle = last.pixelColor(160, 120);
    const QColor side = last.pixelColor(20, 120);
    QVERIFY2(middle.red() > 200 && middle.green() < 60, qPrintable(middle.name()));
    QVERIFY2(side.red() < 30 && side.green() < 30 && side.blue() < 30, qPrintable(side.name()));
}

void TestAssetWriter::readinessFollowsTheEncoderQueue()
{
    const QString path = m_dir.filePath("pressure.mov");
    Writer w = makeWriter(path, QSize(1920, 1080));
    QVERIFY(w.writer->startWriting());
    w.writer->startSession(MediaTime{0, 1000});
    const QImage frame = noiseFrame({1920, 1080});
    int accepted = 0;
    int refused = 0;
    for (int i = 0; i < 40; ++i) {
        if (w.input->append(SampleBuffer(frame, MediaTime{i * 33, 1000})))
            ++accepted;
        else
            ++refused;
    }
    // Appending never waits for the encoder: a full queue refuses frames.
    QVERIFY2(refused > 0, "the input accepted every frame of a burst");
    QVERIFY(accepted >= 1);
    // ... and takes more once the encoder has caught up.
    QVERIFY(QTest::qWaitFor([&] { return w.input->isReadyForMoreMediaData(); }, 10000));
    QVERIFY(w.input->append(SampleBuffer(frame, MediaTime{40 * 33, 1000})));
    ++accepted;
    // A second finish while the first drains answers once the file is done.
    std::atomic<int> statusAtSecond{-1};
    w.writer->finishWriting({});
    w.writer->finishWriting([&] { statusAtSecond = int(w.writer->status()); });
    QTRY_VERIFY_WITH_TIMEOUT(statusAtSecond.load() != -1, 20000);
    QCOMPARE(statusAtSecond.load(), int(AssetWriter::Status::completed));
    QCOMPARE(test::probeMovie(path).frameCount, accepted);
}

void TestAssetWriter::fullDiskFailsTheWriter()
{
    Writer w = makeWriter(m_dir.filePath("full.mov"), QSize(320, 240));
    test::FileSizeLimit diskFull(256 * 1024);
    QVERIFY(w.writer->startWriting());
    w.writer->startSession(MediaTime{0, 1000});
    for (int i = 0; i < 200 && w.writer->status() == AssetWriter::Status::writing; ++i) {
        QVERIFY(QTest::qWaitFor([&] { return w.input->isReadyForMoreMediaData()
                                             || w.writer->status() != AssetWriter::Status::writing; },
                                5000));
        w.input->append(SampleBuffer(noiseFrame({320, 240}), MediaTime{i * 33, 1000}));
    }
    QTRY_COMPARE_WITH_TIMEOUT(w.writer->status(), AssetWriter::Status::failed, 10000);
    QVERIFY(w.writer->error().has_value());
    QVERIFY2(w.writer->error()->localizedDescription.contains("too large"),
             qPrintable(w.writer->error()->localizedDescription));
    QVERIFY(!w.input->isReadyForMoreMediaData());
    // Finishing a failed writer still answers.
    QVERIFY(finishAndWait(*w.writer));
    QCOMPARE(w.writer->status(), AssetWriter::Status::failed);
}

void TestAssetWriter::statusesOutsideNormalWriting()
{
    MediaError error;
    QVERIFY(!AssetWriter::create(QUrl("https://example.org/a.mov"), FileType::quickTimeMovie, &error));
    QVERIFY(!error.localizedDescription.isEmpty());

    auto bare = AssetWriter::create(QUrl::fromLocalFile(m_dir.filePath("bare.mov")),
                                    FileType::quickTimeMovie);
    QVERIFY(!bare->startWriting());
    QCOMPARE(bare->status(), AssetWriter::Status::failed);

    const QString path = m_dir.filePath("cancelled.mov");
    Writer w = makeWriter(path, QSize(64, 64));
    QVERIFY(w.writer->startWriting());
    QVERIFY(QFileInfo::exists(path));
    w.writer->cancelWriting();
    QTRY_COMPARE(w.writer->status(), AssetWriter::Status::cancelled);
    QVERIFY(!QFileInfo::exists(path));
    QVERIFY(!w.input->append(SampleBuffer(solidFrame({64, 64}, Qt::white), MediaTime{0, 1})));
}

QTEST_GUILESS_MAIN(TestAssetWriter)
#include "tst_assetwriter.moc"
