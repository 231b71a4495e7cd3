// Measures what background recording costs a host. Each scenario runs in its
// own process (so peak memory is its own); the parent compares every
// recording run with a reference run of the same window without recording,
// and the whole-window scenario also with a screen recorder in a process of
// its own (ffmpeg capturing an X display with libx264) filming the same
// window on an Xvfb display started here.
//
//   bench_recording [--seconds N]        all scenarios, table on stdout
//   bench_recording --run <scenario> <record> <seconds> [<private>]   one scenario, one JSON line
//
// Scenarios: typical (1080p, a 64x64 spinner and a text field being typed
// into, 30 repaints/s), anim30, anim60 (1080p repainted whole), static,
// anim30-4k (3840x2160 repainted whole). With <private> given, the window
// holds 20 labels over its cards, marked private when it is 1: the masking
// scenario compares the two.
#include "capture/CaptureMananger.h"
#include "platform/Console.h"
#include "platform/PrivacyMask.h"

#include <QApplication>
#include <QBackingStore>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QLinearGradient>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QTextStream>
#include <QThread>
#include <QTimer>
#include <QWidget>

#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
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

QByteArray procFile(qint64 pid, const char *name)
{
    QFile file(pid ? QStringLiteral("/proc/%1/%2").arg(pid).arg(name) : QStringLiteral("/proc/self/%1").arg(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

double peakMemoryMiB(qint64 pid = 0)
{
    for (const QByteArray &line : procFile(pid, "status").split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

/// User + system CPU seconds of another process.
double processCpuSeconds(qint64 pid)
{
    const QByteArray stat = procFile(pid, "stat");
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return 0;
    return (fields[11].toDouble() + fields[12].toDouble()) / double(sysconf(_SC_CLK_TCK));
}

/// The host screens' backdrop: a light diagonal gradient.
void fillBackdrop(QPainter &p, const QRect &rect)
{
    QLinearGradient g(rect.topLeft(), rect.bottomRight());
    g.setColorAt(0, QColor(245, 245, 250));
    g.setColorAt(1, QColor(215, 225, 240));
    p.fillRect(rect, g);
}

/// A busy host screen: a gradient, moving cards and text, repainted in full.
class AnimatedWindow : public QWidget
{
public:
    int repaints = 0;

protected:
    void paintEvent(QPaintEvent *) override
    {
        ++repaints;
        QPainter p(this);
        fillBackdrop(p, rect());
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

/// A 64×64 activity spinner that turns a step at every repaint.
class Spinner : public QWidget
{
public:
    int repaints = 0;

protected:
    void paintEvent(QPaintEvent *) override
    {
        ++repaints;
        QPainter p(this);
        p.fillRect(rect(), QColor(250, 250, 252));
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(QColor(40, 90, 200), 6, Qt::SolidLine, Qt::RoundCap));
        p.drawArc(rect().adjusted(8, 8, -8, -8), -(repaints * 24 % 360) * 16, 270 * 16);
    }
};

/// A typical screen: static cards with text, a spinner and a text field.
class TypicalWindow : public QWidget
{
public:
    TypicalWindow()
    {
        spinner.setParent(this);
        spinner.setGeometry(120, 120, 64, 64);
        field.setParent(this);
        field.setGeometry(400, 900, 900, 36);
    }
    Spinner spinner;
    QLineEdit field;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        fillBackdrop(p, rect());
        p.setRenderHint(QPainter::Antialiasing);
        for (int i = 0; i < 24; ++i) {
            const int x = 260 + (i % 6) * 270;
            const int y = 60 + (i / 6) * 190;
            p.setBrush(QColor::fromHsv((i * 37) % 360, 60, 245));
            p.setPen(Qt::NoPen);
            p.drawRoundedRect(x, y, 240, 160, 12, 12);
            p.setPen(Qt::black);
            p.drawText(QRect(x + 16, y + 16, 208, 128), Qt::TextWordWrap,
                       QStringLiteral("Card %1: a line of text that stays where it is").arg(i));
        }
    }
};

/// Peak signal-to-noise ratio (dB) of a decoded luma plane against the
/// luma of the painted image (BT.709, limited range).
double lumaPsnr(const QByteArray &luma, const QImage &painted)
{
    const QImage image = painted.convertToFormat(QImage::Format_RGB32);
    double squared = 0;
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const double expected =
                16 + 219 * (0.2126 * qRed(line[x]) + 0.7152 * qGreen(line[x]) + 0.0722 * qBlue(line[x])) / 255;
            const double d = quint8(luma[y * image.width() + x]) - expected;
            squared += d * d;
        }
    }
    const double mse = squared / (double(image.width()) * image.height());
    return mse > 0 ? 10 * std::log10(255.0 * 255.0 / mse) : 99;
}

/// The last frame's luma plane of a movie, decoded by the ffmpeg tool.
QByteArray lastLumaPlane(const QString &path, QSize size)
{
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-nostdin", "-v", "error", "-sseof", "-1", "-i", path, "-fps_mode", "passthrough",
                            "-f", "rawvideo", "-pix_fmt", "yuv420p", "-"});
    ffmpeg.waitForFinished(60000);
    const QByteArray raw = ffmpeg.readAllStandardOutput();
    const qsizetype frame = qsizetype(size.width()) * size.height() * 3 / 2;
    if (raw.size() < frame)
        return {};
    return raw.mid(raw.size() - frame, qsizetype(size.width()) * size.height());
}

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

int runScenario(int argc, char **argv, const QString &scenario, bool record, double seconds, int privateLabels)
{
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName("bench_recording");
    QStandardPaths::setTestModeEnabled(true);
    const int token = addConsoleObserver([](const QString &) {});
    Q_UNUSED(token);

    const bool typical = scenario == "typical";
    const int fps = scenario == "static" ? 0 : scenario == "anim60" ? 60 : 30;
    const QSize size = scenario.endsWith("4k") ? QSize(3840, 2160) : QSize(1920, 1080);
    std::unique_ptr<QWidget> host;
    std::function<int()> repaints;
    std::function<void()> tick;
    if (typical) {
        auto window = std::make_unique<TypicalWindow>();
        TypicalWindow *w = window.get();
        repaints = [w] { return w->spinner.repaints; };
        tick = [w, n = 0]() mutable {
            w->spinner.update();
            // About five characters a second; the line starts again when full.
            if (++n % 6 == 0)
                w->field.setText(w->field.text().size() > 90 ? QString() : w->field.text() + QChar('a' + n % 26));
        };
        host = std::move(window);
    } else {
        auto window = std::make_unique<AnimatedWindow>();
        AnimatedWindow *w = window.get();
        repaints = [w] { return w->repaints; };
        tick = [w] { w->update(); };
        host = std::move(window);
    }
    if (privateLabels >= 0) {
        for (int i = 0; i < 20; ++i) {
            auto *label = new QLabel(QStringLiteral("Account %1").arg(i), host.get());
            label->setGeometry(60 + (i % 5) * 360, 80 + (i / 5) * 240, 200, 30);
            label->setStyleSheet(QStringLiteral("background: white;"));
            PrivacyMask::setPrivate(label, privateLabels > 0);
        }
    }
    host->resize(size);
    host->show();
    host->activateWindow();
    if (typical) {
        static_cast<TypicalWindow *>(host.get())->field.setFocus();
        QApplication::setCursorFlashTime(0); // the caret stays: the last frame is the painted one
    }
    QTimer animation;
    animation.setTimerType(Qt::PreciseTimer);
    QObject::connect(&animation, &QTimer::timeout, host.get(), tick);
    if (fps > 0)
        animation.start(1000 / fps);

    QElapsedTimer activation;
    activation.start();
    while (QApplication::activeWindow() != host.get() && activation.elapsed() < 3000)
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
        const int repaints0 = repaints();
        const auto recorder0 = ScreenRecorder::shared().statistics();
        const auto writer0 = manager ? manager->statistics() : CaptureMananger::Statistics{};
        QElapsedTimer wall;
        wall.start();
        QTimer::singleShot(int(seconds * 1000), [&, cpu0, gui0, repaints0, recorder0, writer0, wall] {
            const auto recorder1 = ScreenRecorder::shared().statistics();
            const auto writer1 = manager ? manager->statistics() : CaptureMananger::Statistics{};
            result["scenario"] = scenario;
            result["record"] = record;
            result["wallSeconds"] = wall.elapsed() / 1000.0;
            result["cpuSeconds"] = processCpuSeconds() - cpu0;
            result["guiCpuSeconds"] = threadCpuSeconds() - gui0;
            result["repaints"] = repaints() - repaints0;
            result["framesCaptured"] = double(recorder1.framesCaptured - recorder0.framesCaptured);
            result["recorderDropped"] = double(recorder1.framesDropped - recorder0.framesDropped);
            result["grabCpuMs"] = (recorder1.guiCpuNanoseconds - recorder0.guiCpuNanoseconds) / 1e6;
            result["grabWallMs"] = (recorder1.guiWallNanoseconds - recorder0.guiWallNanoseconds) / 1e6;
            result["pixelsCopied"] = double(recorder1.pixelsCopied - recorder0.pixelsCopied);
            result["framesAppended"] = double(writer1.framesAppended - writer0.framesAppended);
            result["writerDropped"] = double(writer1.framesDropped - writer0.framesDropped);
            result["peakMiB"] = peakMemoryMiB();
            if (privateLabels >= 0)
                result["maskCpuMs"] = maskCpuMs(*host);
            if (!manager) {
                QCoreApplication::quit();
                return;
            }
            // The movie's last frame against the window as it stays painted.
            animation.stop();
            QTimer::singleShot(300, [&] {
                QObject::connect(&*manager, &CaptureMananger::recordingWritten, qApp, [&] {
                    if (fps > 0) {
                        const QString path = manager->recordingFileURL().toLocalFile();
                        const QByteArray luma = lastLumaPlane(path, ScreenRecorder::pixelSize(host.get()));
                        // What the window painted last (a grab would paint
                        // the spinner a step further).
                        QBackingStore *store = host->backingStore();
                        QPaintDevice *device = store ? store->paintDevice() : nullptr;
                        if (!luma.isEmpty() && device && device->devType() == QInternal::Image) {
                            const QImage painted = static_cast<const QImage *>(device)->copy(
                                QRect(QPoint(0, 0), ScreenRecorder::pixelSize(host.get())));
                            result["psnr"] = lumaPsnr(luma, painted);
                        }
                    }
                    QCoreApplication::quit();
                });
                manager->recorder()->stopCapture(manager->stopHandler([](std::optional<MediaError>) {}));
                // A static window never started a writer: nothing to wait for.
                QTimer::singleShot(20000, qApp, &QCoreApplication::quit);
            });
        });
    };
    QTimer::singleShot(1000, measure); // warm-up: first paints, encoder start
    const int code = app.exec();
    std::printf("%s\n", QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    return code;
}

QJsonObject runChild(const QString &self, const QString &scenario, bool record, double seconds,
                     int privateLabels = -1)
{
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (!env.contains("QT_QPA_PLATFORM"))
        env.insert("QT_QPA_PLATFORM", "offscreen");
    child.setProcessEnvironment(env);
    child.start(self, {"--run", scenario, record ? "1" : "0", QString::number(seconds), QString::number(privateLabels)});
    child.waitForFinished(int(seconds * 1000) + 90000);
    const QList<QByteArray> lines = child.readAllStandardOutput().trimmed().split('\n');
    return QJsonDocument::fromJson(lines.last()).object();
}

/// The whole-window window on a display of its own, filmed by ffmpeg
/// (x11grab, libx264 ultrafast): ffmpeg's own CPU and peak memory.
QJsonObject runScreenRecorder(const QString &self, double seconds)
{
    QJsonObject result;
    QProcess xvfb;
    xvfb.start("Xvfb", {"-displayfd", "1", "-screen", "0", "1920x1080x24", "-nolisten", "tcp"});
    if (!xvfb.waitForReadyRead(10000))
        return result;
    const QString display = ":" + QString::fromLatin1(xvfb.readLine().trimmed());
    QProcess window;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "xcb");
    env.insert("DISPLAY", display);
    window.setProcessEnvironment(env);
    window.start(self, {"--run", "anim30", "0", QString::number(seconds + 2)});
    QThread::msleep(1500); // the window is up and painting
    QProcess ffmpeg;
    const QString movie = QStandardPaths::writableLocation(QStandardPaths::TempLocation) + "/bench_x11grab.mp4";
    ffmpeg.start("ffmpeg", {"-nostdin", "-v", "error", "-y", "-f", "x11grab", "-framerate", "30", "-video_size",
                            "1920x1080", "-i", display + "+0,0", "-c:v", "libx264", "-preset", "ultrafast",
                            "-tune", "zerolatency", "-pix_fmt", "yuv420p", movie});
    if (!ffmpeg.waitForStarted(5000))
        return result;
    QThread::msleep(1000); // its start-up, as the kit's warm-up second
    const qint64 pid = ffmpeg.processId();
    const double cpu0 = processCpuSeconds(pid);
    QElapsedTimer wall;
    wall.start();
    QThread::msleep(int(seconds * 1000));
    result["cpuSeconds"] = processCpuSeconds(pid) - cpu0;
    result["wallSeconds"] = wall.elapsed() / 1000.0;
    result["peakMiB"] = peakMemoryMiB(pid);
    ffmpeg.write("q");
    ffmpeg.closeWriteChannel();
    ffmpeg.terminate();
    ffmpeg.waitForFinished(10000);
    window.waitForFinished(int(seconds * 1000) + 30000);
    xvfb.terminate();
    xvfb.waitForFinished(5000);
    QFile::remove(movie);
    return result;
}

QString fixed(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

} // namespace

int main(int argc, char **argv)
{
    if (argc >= 5 && QByteArray(argv[1]) == "--run")
        return runScenario(argc, argv, QString::fromLatin1(argv[2]), atoi(argv[3]) != 0, atof(argv[4]),
                           argc >= 6 ? atoi(argv[5]) : -1);

    double seconds = 8;
    if (argc >= 3 && QByteArray(argv[1]) == "--seconds")
        seconds = atof(argv[2]);
    QCoreApplication app(argc, argv);
    const QString self = QCoreApplication::applicationFilePath();
    QTextStream out(stdout);
    out << "Background recording, " << seconds << " s per run\n\n";
    out << "| window | run | CPU s per recorded s | added (cores) | GUI ms per captured frame (grab CPU / grab wall / "
           "GUI CPU over reference) | frames captured / repaints | frames dropped (recorder + writer) | "
           "megapixels copied per frame | peak MiB (added) | luma PSNR of the last frame |\n";
    out << "|---|---|---|---|---|---|---|---|---|---|\n";
    const QList<QPair<QString, QString>> scenarios = {
        {"typical", "typical UI 1080p, 30/s"}, {"anim30", "whole window 1080p, 30/s"},
        {"anim60", "whole window 1080p, 60/s"}, {"static", "static 1080p"},
        {"anim30-4k", "whole window 3840x2160, 30/s"}};
    double referenceAnim30 = 0;
    double addedAnim30 = 0;
    for (const auto &[scenario, label] : scenarios) {
        const QJsonObject ref = runChild(self, scenario, false, seconds);
        const QJsonObject rec = runChild(self, scenario, true, seconds);
        const double refCpu = ref["cpuSeconds"].toDouble() / ref["wallSeconds"].toDouble();
        const double recCpu = rec["cpuSeconds"].toDouble() / rec["wallSeconds"].toDouble();
        const double frames = rec["framesCaptured"].toDouble();
        const double refGuiPerS = ref["guiCpuSeconds"].toDouble() / ref["wallSeconds"].toDouble();
        const double recGuiPerS = rec["guiCpuSeconds"].toDouble() / rec["wallSeconds"].toDouble();
        const double guiOver = frames > 0 ? (recGuiPerS - refGuiPerS) * rec["wallSeconds"].toDouble() * 1000 / frames : 0;
        const double dropped = rec["recorderDropped"].toDouble() + rec["writerDropped"].toDouble();
        const double repaints = rec["repaints"].toDouble();
        if (scenario == "anim30") {
            referenceAnim30 = refCpu;
            addedAnim30 = recCpu - refCpu;
        }
        auto perFrame = [&](const char *key, int decimals) {
            return frames > 0 ? fixed(rec[key].toDouble() / frames, decimals) : QStringLiteral("–");
        };
        out << "| " << label << " | reference | " << fixed(refCpu, 4) << " | – | – | – | – | – | "
            << fixed(ref["peakMiB"].toDouble(), 0) << " | – |\n";
        out << "| " << label << " | recording | " << fixed(recCpu, 4) << " | " << fixed(recCpu - refCpu, 3) << " | "
            << perFrame("grabCpuMs", 2) << " / " << perFrame("grabWallMs", 2) << " / "
            << (frames > 0 ? fixed(guiOver, 2) : QStringLiteral("–")) << " | " << frames << " / " << repaints
            << " | " << rec["recorderDropped"].toDouble() << " + " << rec["writerDropped"].toDouble() << " ("
            << fixed(frames > 0 ? 100 * dropped / (frames + rec["recorderDropped"].toDouble()) : 0, 1)
            << " %) | " << (frames > 0 ? fixed(rec["pixelsCopied"].toDouble() / frames / 1e6, 3) : QStringLiteral("–"))
            << " | " << fixed(rec["peakMiB"].toDouble(), 0) << " (+"
            << fixed(rec["peakMiB"].toDouble() - ref["peakMiB"].toDouble(), 0) << ") | "
            << (rec.contains("psnr") ? fixed(rec["psnr"].toDouble(), 2) + " dB" : QStringLiteral("–")) << " |\n";
        out.flush();
    }

    // Masking: the same recording with 20 labels, unmarked, then private.
    out << "\nMasking 20 private widgets, whole window 1080p animating 30/s, recording\n\n";
    out << "| labels | grab CPU ms per frame | GUI CPU s per recorded s | mask CPU ms per frame |\n";
    out << "|---|---|---|---|\n";
    double plainGrab = 0, plainGui = 0;
    for (int marked : {0, 1}) {
        const QJsonObject rec = runChild(self, "anim30", true, seconds, marked);
        const double frames = std::max(1.0, rec["framesCaptured"].toDouble());
        const double grab = rec["grabCpuMs"].toDouble() / frames;
        const double gui = rec["guiCpuSeconds"].toDouble() / rec["wallSeconds"].toDouble();
        out << "| " << (marked ? "private" : "not private") << " | " << fixed(grab, 3);
        if (marked && plainGrab > 0)
            out << " (×" << fixed(grab / plainGrab, 2) << ")";
        out << " | " << fixed(gui, 4);
        if (marked && plainGui > 0)
            out << " (×" << fixed(gui / plainGui, 2) << ")";
        out << " | " << fixed(rec["maskCpuMs"].toDouble(), 4) << " |\n";
        plainGrab = grab;
        plainGui = gui;
        out.flush();
    }

    const QJsonObject grab = runScreenRecorder(self, seconds);
    if (grab.isEmpty()) {
        out << "\nThe screen recorder could not be run (Xvfb or ffmpeg missing).\n";
        return 0;
    }
    const double grabCpu = grab["cpuSeconds"].toDouble() / grab["wallSeconds"].toDouble();
    out << "\n| whole window 1080p, 30/s | CPU s per recorded s | peak MiB |\n|---|---|---|\n";
    out << "| ffmpeg x11grab + libx264 ultrafast, its own process on Xvfb | " << fixed(grabCpu, 4) << " | "
        << fixed(grab["peakMiB"].toDouble(), 0) << " |\n";
    out << "| the kit's recording, added to its host (reference " << fixed(referenceAnim30, 4) << ") | "
        << fixed(addedAnim30, 4) << " (×" << fixed(grabCpu > 0 ? addedAnim30 / grabCpu : 0, 2)
        << " of the screen recorder) | – |\n";
    return 0;
}
