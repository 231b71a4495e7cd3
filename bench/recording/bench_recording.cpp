// Measures what background recording costs a host. Each scenario runs in its
// own process (so peak memory is its own); the parent compares every
// recording run with a reference run of the same window without recording.
//
//   bench_recording [--seconds N]        all scenarios, table on stdout
//   bench_recording --run <fps> <record> <seconds> [<private>]   one scenario, one JSON line
//
// With <private> given, the window holds 20 labels over its cards, marked
// private when it is 1: the masking scenario compares the two.
#include "capture/CaptureMananger.h"
#include "platform/Console.h"
#include "platform/PrivacyMask.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QTextStream>
#include <QTimer>
#include <QWidget>

#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <optional>

using namespace tessivo;

namespace {

double processCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](timeval t) { return t.tv_sec + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double threadCpuSeconds()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec + t.tv_nsec / 1e9;
}

double peakMemoryMiB()
{
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

/// A busy host screen: a gradient, moving cards and text, repainted in full.
class HostWindow : public QWidget
{
public:
    int repaints = 0;

protected:
    void paintEvent(QPaintEvent *) override
    {
        ++repaints;
        QPainter p(this);
        QLinearGradient g(0, 0, width(), height());
        g.setColorAt(0, QColor(245, 245, 250));
        g.setColorAt(1, QColor(215, 225, 240));
        p.fillRect(rect(), g);
        p.setRenderHint(QPainter::Antialiasing);
        for (int i = 0; i < 24; ++i) {
            const int x = (repaints * (3 + i % 5) + i * 150) % (width() - 220);
            const int y = 40 + (i * 43) % (height() - 160);
            p.setBrush(QColor::fromHsv((i * 37) % 360, 120, 230));
            p.setPen(Qt::NoPen);
            p.drawRoundedRect(x, y, 220, 110, 12, 12);
            p.setPen(Qt::black);
            p.drawText(x + 16, y + 40, QStringLiteral("Card %1 · frame %2").arg(i).arg(repaints));
        }
    }
};

/// GUI-thread CPU milliseconds that finding and filling `window`'s private
/// areas takes on one frame of its size, over many frames.
double maskCpuMs(QWidget &window)
{
    QImage frame(window.size() * window.devicePixelRatioF(), QImage::Format_ARGB32_Premultiplied);
    constexpr int kRounds = 2000;
    const double start = threadCpuSeconds();
    for (int i = 0; i < kRounds; ++i)
        PrivacyMask::apply(frame, &window);
    return (threadCpuSeconds() - start) * 1000 / kRounds;
}

int runScenario(int argc, char **argv, int fps, bool record, double seconds, int privateLabels)
{
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName("bench_recording");
    QStandardPaths::setTestModeEnabled(true);
    const int token = addConsoleObserver([](const QString &) {});
    Q_UNUSED(token);

    HostWindow window;
    window.resize(1920, 1080);
    if (privateLabels >= 0) {
        for (int i = 0; i < 20; ++i) {
            auto *label = new QLabel(QStringLiteral("Account %1").arg(i), &window);
            label->setGeometry(60 + (i % 5) * 360, 80 + (i / 5) * 240, 200, 30);
            label->setStyleSheet(QStringLiteral("background: white;"));
            PrivacyMask::setPrivate(label, privateLabels > 0);
        }
    }
    window.show();
    window.activateWindow();
    QTimer animation;
    animation.setTimerType(Qt::PreciseTimer);
    QObject::connect(&animation, &QTimer::timeout, &window, [&] { window.update(); });
    if (fps > 0)
        animation.start(1000 / fps);

    QElapsedTimer activation;
    activation.start();
    while (QApplication::activeWindow() != &window && activation.elapsed() < 3000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);

    std::optional<CaptureMananger> manager;
    if (record) {
        manager.emplace();
        manager->startCapture([](std::optional<MediaError> error) {
            if (error) {
                std::fprintf(stderr, "start failed: %s\n", qPrintable(error->localizedDescription));
                QCoreApplication::exit(2);
            }
        });
    }

    QJsonObject result;
    auto measure = [&] {
        const double cpu0 = processCpuSeconds();
        const double gui0 = threadCpuSeconds();
        const int repaints0 = window.repaints;
        const auto recorder0 = ScreenRecorder::shared().statistics();
        const auto writer0 = manager ? manager->statistics() : CaptureMananger::Statistics{};
        QElapsedTimer wall;
        wall.start();
        QTimer::singleShot(int(seconds * 1000), [&, cpu0, gui0, repaints0, recorder0, writer0, wall] {
            const auto recorder1 = ScreenRecorder::shared().statistics();
            const auto writer1 = manager ? manager->statistics() : CaptureMananger::Statistics{};
            result["fps"] = fps;
            result["record"] = record;
            result["wallSeconds"] = wall.elapsed() / 1000.0;
            result["cpuSeconds"] = processCpuSeconds() - cpu0;
            result["guiCpuSeconds"] = threadCpuSeconds() - gui0;
            result["repaints"] = window.repaints - repaints0;
            result["framesCaptured"] = double(recorder1.framesCaptured - recorder0.framesCaptured);
            result["recorderDropped"] = double(recorder1.framesDropped - recorder0.framesDropped);
            result["grabCpuMs"] = (recorder1.guiCpuNanoseconds - recorder0.guiCpuNanoseconds) / 1e6;
            result["grabWallMs"] = (recorder1.guiWallNanoseconds - recorder0.guiWallNanoseconds) / 1e6;
            result["framesAppended"] = double(writer1.framesAppended - writer0.framesAppended);
            result["writerDropped"] = double(writer1.framesDropped - writer0.framesDropped);
            result["peakMiB"] = peakMemoryMiB();
            if (privateLabels >= 0)
                result["maskCpuMs"] = maskCpuMs(window);
            if (!manager) {
                QCoreApplication::quit();
                return;
            }
            QObject::connect(&*manager, &CaptureMananger::recordingWritten, qApp, &QCoreApplication::quit);
            manager->recorder()->stopCapture(manager->stopHandler([](std::optional<MediaError>) {}));
            // A static window never started a writer: nothing to wait for.
            QTimer::singleShot(5000, qApp, &QCoreApplication::quit);
        });
    };
    QTimer::singleShot(1000, measure); // warm-up: first paints, encoder start
    const int code = app.exec();
    std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    return code;
}

QJsonObject runChild(const QString &self, int fps, bool record, double seconds, int privateLabels = -1)
{
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (!env.contains("QT_QPA_PLATFORM"))
        env.insert("QT_QPA_PLATFORM", "offscreen");
    child.setProcessEnvironment(env);
    child.start(self, {"--run", QString::number(fps), record ? "1" : "0", QString::number(seconds),
                       QString::number(privateLabels)});
    child.waitForFinished(int(seconds * 1000) + 60000);
    const QList<QByteArray> lines = child.readAllStandardOutput().trimmed().split('\n');
    return QJsonDocument::fromJson(lines.last()).object();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc >= 5 && QByteArray(argv[1]) == "--run")
        return runScenario(argc, argv, atoi(argv[2]), atoi(argv[3]) != 0, atof(argv[4]), argc >= 6 ? atoi(argv[5]) : -1);

    double seconds = 8;
    if (argc >= 3 && QByteArray(argv[1]) == "--seconds")
        seconds = atof(argv[2]);
    QCoreApplication app(argc, argv);
    const QString self = QCoreApplication::applicationFilePath();
    QTextStream out(stdout);
    out << "Background recording, 1920x1080 window, " << seconds << " s per run\n\n";
    out << "| window | run | CPU s per recorded s | GUI ms per captured frame (grab CPU / grab wall / GUI CPU over reference) "
           "| frames captured / repaints | frames dropped (recorder + writer) | peak MiB |\n";
    out << "|---|---|---|---|---|---|---|\n";
    for (int fps : {30, 60, 0}) {
        const QString label = fps ? QStringLiteral("animating %1/s").arg(fps) : QStringLiteral("static");
        const QJsonObject ref = runChild(self, fps, false, seconds);
        const QJsonObject rec = runChild(self, fps, true, seconds);
        const double refCpu = ref["cpuSeconds"].toDouble() / ref["wallSeconds"].toDouble();
        const double recCpu = rec["cpuSeconds"].toDouble() / rec["wallSeconds"].toDouble();
        const double frames = rec["framesCaptured"].toDouble();
        const double refGuiPerS = ref["guiCpuSeconds"].toDouble() / ref["wallSeconds"].toDouble();
        const double recGuiPerS = rec["guiCpuSeconds"].toDouble() / rec["wallSeconds"].toDouble();
        const double guiOver = frames > 0 ? (recGuiPerS - refGuiPerS) * rec["wallSeconds"].toDouble() * 1000 / frames : 0;
        // Below a few milliseconds per second a ratio says nothing.
        const QString cpuRatio = refCpu >= 0.005 ? QStringLiteral(" (×%1)").arg(recCpu / refCpu, 0, 'f', 2)
                                                 : QString();
        out << "| " << label << " | reference | " << QString::number(refCpu, 'f', 4) << " | – | – | – | "
            << QString::number(ref["peakMiB"].toDouble(), 'f', 0) << " |\n";
        out << "| " << label << " | recording | " << QString::number(recCpu, 'f', 4) << cpuRatio << " | "
            << (frames > 0 ? QString::number(rec["grabCpuMs"].toDouble() / frames, 'f', 2) : QStringLiteral("–"))
            << " / "
            << (frames > 0 ? QString::number(rec["grabWallMs"].toDouble() / frames, 'f', 2) : QStringLiteral("–"))
            << " / " << (frames > 0 ? QString::number(guiOver, 'f', 2) : QStringLiteral("–")) << " | "
            << frames << " / " << rec["repaints"].toDouble() << " | "
            << rec["recorderDropped"].toDouble() << " + " << rec["writerDropped"].toDouble() << " | "
            << QString::number(rec["peakMiB"].toDouble(), 'f', 0) << " (×"
            << QString::number(ref["peakMiB"].toDouble() > 0 ? rec["peakMiB"].toDouble() / ref["peakMiB"].toDouble() : 0, 'f', 2)
            << ") |\n";
        out.flush();
    }

    // Masking: the same recording with 20 labels, unmarked, then private.
    out << "\nMasking 20 private widgets, animating 30/s, recording\n\n";
    out << "| labels | grab CPU ms per frame | GUI CPU s per recorded s | mask CPU ms per frame |\n";
    out << "|---|---|---|---|\n";
    double plainGrab = 0, plainGui = 0;
    for (int marked : {0, 1}) {
        const QJsonObject rec = runChild(self, 30, true, seconds, marked);
        const double frames = std::max(1.0, rec["framesCaptured"].toDouble());
        const double grab = rec["grabCpuMs"].toDouble() / frames;
        const double gui = rec["guiCpuSeconds"].toDouble() / rec["wallSeconds"].toDouble();
        out << "| " << (marked ? "private" : "not private") << " | " << QString::number(grab, 'f', 3);
        if (marked && plainGrab > 0)
            out << " (×" << QString::number(grab / plainGrab, 'f', 2) << ")";
        out << " | " << QString::number(gui, 'f', 4);
        if (marked && plainGui > 0)
            out << " (×" << QString::number(gui / plainGui, 'f', 2) << ")";
        out << " | " << QString::number(rec["maskCpuMs"].toDouble(), 'f', 4) << " |\n";
        plainGrab = grab;
        plainGui = gui;
        out.flush();
    }
    return 0;
}
