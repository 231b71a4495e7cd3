// Measures how long a tester waits for the video report: from the video
// option to the editor (the join of two segments or the cut of one, to the
// last 10 s) and the metadata merge before sending, on 1080p movies made by
// the kit's own writer. References measured in the same run: the ffmpeg
// command line doing the same stream-copy join and cut, and doing them with
// a full re-encode.
//
//   bench_videoreport [--runs N]
#include "capture/CaptureMananger.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "metadata/VideoMetadataView.h"
#include "platform/AssetWriter.h"
#include "platform/AssetWriterInput.h"
#include "platform/Console.h"
#include "platform/Storyboard.h"
#include "platform/UserDefaults.h"
#include "platform/ViewController.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLinearGradient>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <vector>

using namespace tessivo;

namespace {

const QSize kSize(1920, 1080);

class EditorStandIn : public ViewController
{
    Q_OBJECT
    Q_PROPERTY(QUrl videoFileURL MEMBER videoFileURL)
public:
    QUrl videoFileURL;
};

/// A busy host screen, as the recording benchmark paints it.
QImage screenFrame(int k)
{
    QImage image(kSize, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient g(0, 0, kSize.width(), kSize.height());
    g.setColorAt(0, QColor(245, 245, 250));
    g.setColorAt(1, QColor(215, 225, 240));
    p.fillRect(image.rect(), g);
    p.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < 24; ++i) {
        const int x = (k * (3 + i % 5) + i * 150) % (kSize.width() - 220);
        const int y = 40 + (i * 43) % (kSize.height() - 160);
        p.setBrush(QColor::fromHsv((i * 37) % 360, 120, 230));
        p.setPen(Qt::NoPen);
        p.drawRoundedRect(x, y, 220, 110, 12, 12);
        p.setPen(Qt::black);
        p.drawText(x + 16, y + 40, QStringLiteral("Card %1 · frame %2").arg(i).arg(k));
    }
    return image;
}

bool waitFor(const std::function<bool()> &condition, int timeoutMs = 120000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
        QThread::usleep(200);
    }
    return true;
}

bool writeMovie(const QString &path, int frames, int firstFrame)
{
    auto writer = AssetWriter::create(QUrl::fromLocalFile(path), FileType::quickTimeMovie);
    auto input = std::make_shared<AssetWriterInput>(
        MediaType::video, VideoOutputSettings{VideoCodecType::h264, double(kSize.width()), double(kSize.height())});
    writer->add(input);
    if (!writer->startWriting())
        return false;
    writer->startSession({0, 30});
    for (int k = 0; k < frames; ++k) {
        const QImage frame = screenFrame(firstFrame + k);
        if (!waitFor([&] { return input->isReadyForMoreMediaData(); }))
            return false;
        input->append(SampleBuffer(frame, MediaTime{k, 30}));
    }
    std::atomic<bool> done{false};
    writer->finishWriting([&] { done = true; });
    return waitFor([&] { return done.load(); }) && writer->status() == AssetWriter::Status::completed;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

double runFfmpeg(const QStringList &arguments)
{
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.start(QStringLiteral("ffmpeg"), QStringList{"-nostdin", "-y", "-v", "error"} + arguments);
    if (!process.waitForFinished(300000) || process.exitCode() != 0) {
        std::fprintf(stderr, "ffmpeg failed (%s): %s\n", qPrintable(process.errorString()),
                     process.readAllStandardError().constData());
        process.kill();
        process.waitForFinished();
        return -1;
    }
    return timer.elapsed() / 1000.0;
}

double probeDuration(const QString &path)
{
    QProcess process;
    process.start(QStringLiteral("ffprobe"), {"-v", "error", "-show_entries", "format=duration", "-of",
                                             "default=nw=1:nk=1", path});
    process.waitForFinished(60000);
    return process.readAllStandardOutput().trimmed().toDouble();
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName("bench_videoreport");
    QCoreApplication::setApplicationVersion("1.0");
    QStandardPaths::setTestModeEnabled(true);
    int runs = 7;
    for (int i = 1; i + 1 < argc; ++i) {
        if (QByteArray(argv[i]) == "--runs")
            runs = std::max(1, QByteArray(argv[i + 1]).toInt());
    }
    addConsoleObserver([](const QString &) {});

    QWidget host;
    host.resize(800, 600);
    host.show();
    QApplication::setActiveWindow(&host);
    waitFor([&] { return topMostViewController() == ViewController::rootOf(&host); }, 5000);
    Storyboard::named("Main").registerController("videoEditor", [] { return new EditorStandIn; });
    UserDefaults::standard().setBool(true, "userAllowedRecordingKey");

    TessivoKit &kit = TessivoKit::shared();
    CaptureMananger &manager = *kit.captureManager();
    QTemporaryDir dir;
    const QString previous = dir.filePath("previous10s.mov");
    const QString current = dir.filePath("current4s.mov");
    const QString longer = dir.filePath("current11.7s.mov");
    std::printf("Writing 1080p segments (10 s, 4 s and 11.7 s at 30 frames/s)...\n");
    std::fflush(stdout);
    if (!writeMovie(previous, 300, 0) || !writeMovie(current, 120, 300) || !writeMovie(longer, 350, 0)) {
        std::fprintf(stderr, "could not write the segments\n");
        return 1;
    }
    auto place = [](const QString &from, const QUrl &to) {
        QFile::remove(to.toLocalFile());
        QFile::copy(from, to.toLocalFile());
    };
    auto dismissEditor = [&] {
        ViewController *root = ViewController::rootOf(&host);
        if (root->presentedViewController()) {
            bool gone = false;
            root->dismiss(false, [&] { gone = true; });
            waitFor([&] { return gone; });
        }
    };
    auto triggerToEditor = [&] {
        kit.navigationAlreadyStarted = true;
        QElapsedTimer timer;
        timer.start();
        manager.produceVideoFeedback();
        waitFor([] { return qobject_cast<EditorStandIn *>(topMostViewController()) != nullptr; });
        const double seconds = timer.elapsed() / 1000.0;
        dismissEditor();
        return seconds;
    };

    std::vector<double> join, cut, merge, cliJoin, cliCut, cliMerge, encJoin, encCut, encMerge;
    const QString list = dir.filePath("join.txt");
    const QString mergeList = dir.filePath("merge.txt");
    {
        QFile file(list);
        file.open(QIODevice::WriteOnly);
        file.write(QStringLiteral("file '%1'\nfile '%2'\n").arg(previous, current).toUtf8());
    }
    const QString joinStart = QString::number(probeDuration(previous) + probeDuration(current) - 10.0, 'f', 3);
    const QString cutStart = QString::number(probeDuration(longer) - 10.0, 'f', 3);
    const QStringList reencode = {"-fps_mode", "passthrough", "-c:v", "libx264", "-preset", "ultrafast",
                                  "-tune", "zerolatency", "-qp", "15"};
    VideoMetadataView card;
    card.setMetadata({std::nullopt, "The button does nothing", "Ada", {"Bug"}});

    for (int run = 0; run < runs; ++run) {
        manager.deleteAllFiles();
        place(previous, manager.recordedFileURL());
        place(current, manager.recordingFileURL());
        join.push_back(triggerToEditor());
        const QString joined = dir.filePath("joined.mov");
        QFile::remove(joined);
        QFile::copy(manager.finalFileURL().toLocalFile(), joined);

        // The merge before sending, on the join's result (which starts
        // inside a group of pictures, so it takes a smart cut).
        std::optional<QUrl> merged;
        QElapsedTimer timer;
        timer.start();
        manager.makeMetadataVideo(&card, manager.finalFileURL(), [&](const QUrl &url) { merged = url; });
        waitFor([&] { return merged.has_value(); });
        merge.push_back(timer.elapsed() / 1000.0);
        const QString mergedCopy = dir.filePath("merged.mov");
        QFile::remove(mergedCopy);
        QFile::copy(manager.metadataMergedFileURL().toLocalFile(), mergedCopy);
        const QString clip = dir.filePath("card.mov");
        QFile::remove(clip);
        QFile::copy(manager.metadataFileURL().toLocalFile(), clip);

        manager.deleteAllFiles();
        place(longer, manager.recordingFileURL());
        cut.push_back(triggerToEditor());

        // The command line, same inputs.
        cliJoin.push_back(runFfmpeg({"-f", "concat", "-safe", "0", "-ss", joinStart, "-i", list, "-t", "10", "-c",
                                     "copy", "-movflags", "+faststart", dir.filePath("cli-join.mov")}));
        cliCut.push_back(runFfmpeg({"-ss", cutStart, "-i", longer, "-t", "10", "-c", "copy", dir.filePath("cli-cut.mp4")}));
        {
            QFile file(mergeList);
            file.open(QIODevice::WriteOnly);
            file.write(QStringLiteral("file '%1'\nfile '%2'\nfile '%1'\n").arg(clip, joined).toUtf8());
        }
        cliMerge.push_back(runFfmpeg({"-f", "concat", "-safe", "0", "-i", mergeList, "-c", "copy", "-movflags",
                                      "+faststart", dir.filePath("cli-merge.mov")}));
        encJoin.push_back(runFfmpeg(QStringList{"-f", "concat", "-safe", "0", "-ss", joinStart, "-i", list, "-t", "10"}
                                    + reencode + QStringList{"-movflags", "+faststart", dir.filePath("enc-join.mov")}));
        encCut.push_back(runFfmpeg(QStringList{"-ss", cutStart, "-i", longer, "-t", "10"} + reencode
                                   + QStringList{dir.filePath("enc-cut.mp4")}));
        // (The concat filter, not the demuxer: it honours the join's edit list.)
        encMerge.push_back(runFfmpeg(QStringList{"-i", clip, "-i", joined, "-i", clip, "-filter_complex",
                                                 "[0:v][1:v][2:v]concat=n=3:v=1[v]", "-map", "[v]"}
                                     + reencode + QStringList{"-movflags", "+faststart", dir.filePath("enc-merge.mov")}));
        std::printf("run %d: join %.3f s, cut %.3f s, merge %.3f s\n", run + 1, join.back(), cut.back(), merge.back());
        std::fflush(stdout);
    }

    std::printf("\n| operation | kit (median s) | ffmpeg stream copy (s) | kit ÷ copy | ffmpeg re-encode (s) | kit ÷ re-encode |\n");
    std::printf("|---|---|---|---|---|---|\n");
    auto row = [](const char *name, const std::vector<double> &kit, const std::vector<double> &copy,
                  const std::vector<double> &enc) {
        const double k = median(kit), c = median(copy), e = median(enc);
        std::printf("| %s | %.3f | %.3f | ×%.2f | %.3f | ×%.3f |\n", name, k, c, k / c, e, k / e);
    };
    row("trigger to editor: join 10 s + 4 s, keep the last 10 s", join, cliJoin, encJoin);
    row("trigger to editor: cut 11.7 s to the last 10 s", cut, cliCut, encCut);
    row("merge before sending: card + 10 s + card", merge, cliMerge, encMerge);
    auto mib = [](const QString &path) { return QFileInfo(path).size() / 1048576.0; };
    std::printf("\nInputs: 10 s %.1f MiB, 4 s %.1f MiB, 11.7 s %.1f MiB; card clip %.2f MiB\n", mib(previous),
                mib(current), mib(longer), mib(dir.filePath("card.mov")));
    std::printf("Output durations: join %.3f s, cut %.3f s, merge %.3f s\n",
                probeDuration(dir.filePath("joined.mov")), probeDuration(manager.finalFileURL().toLocalFile()),
                probeDuration(dir.filePath("merged.mov")));
    std::printf("ffmpeg outputs: copy join %.3f s, cut %.3f s, merge %.3f s; re-encode join %.3f s, cut %.3f s, "
                "merge %.3f s\n",
                probeDuration(dir.filePath("cli-join.mov")), probeDuration(dir.filePath("cli-cut.mp4")),
                probeDuration(dir.filePath("cli-merge.mov")), probeDuration(dir.filePath("enc-join.mov")),
                probeDuration(dir.filePath("enc-cut.mp4")), probeDuration(dir.filePath("enc-merge.mov")));
    return 0;
}

#include "bench_videoreport.moc"
