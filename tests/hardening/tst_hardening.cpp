// Faults a host can meet: killed mid-recording then relaunched, a capture
// folder that cannot be written, and two copies of it running at once.
#include "MovieProbe.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <csignal>

namespace {

QProcessEnvironment hostEnvironment(const QString &home)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("XDG_DATA_HOME", home + "/data");
    env.insert("XDG_CONFIG_HOME", home + "/config");
    return env;
}

QString captureFolder(const QString &home)
{
    return home + "/data/HardeningHost/FHWCaptures";
}

/// The hosts' own frames in a report, told apart from the white card at its
/// ends: the hue of the middle of every fifth frame.
QList<int> frameHues(const QString &movie)
{
    const tessivo::test::MovieInfo info = tessivo::test::probeMovie(movie);
    QList<int> hues;
    for (int index = 0; info.valid && index < info.frameCount; index += 5) {
        const QImage frame = tessivo::test::movieFrame(movie, index, info.width, info.height);
        const QColor middle = frame.isNull() ? QColor() : frame.pixelColor(frame.rect().center());
        if (!frame.isNull() && middle.hsvSaturation() > 100)
            hues.append(middle.hsvHue());
    }
    return hues;
}

bool waitForLine(QProcess &process, const QByteArray &line, QByteArray &seen, int ms)
{
    QDeadlineTimer deadline(ms);
    process.waitForStarted(5000);
    while (!deadline.hasExpired()) {
        if (seen.contains(line))
            return true;
        if (process.state() != QProcess::Running && !process.waitForReadyRead(0))
            return seen.contains(line);
        process.waitForReadyRead(100);
        seen += process.readAllStandardOutput();
    }
    return seen.contains(line);
}

double durationOf(const QString &path)
{
    QProcess probe;
    probe.start("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path});
    probe.waitForFinished(20000);
    return QString::fromUtf8(probe.readAllStandardOutput()).trimmed().toDouble();
}

} // namespace

class HardeningTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aHostKilledMidRecordingStartsCleanNextTime()
    {
        QTemporaryDir home;
        QProcess first;
        first.setProcessEnvironment(hostEnvironment(home.path()));
        first.start(QStringLiteral(RECORDING_HOST), {});
        QByteArray out;
        QVERIFY2(waitForLine(first, "Asset writer started", out, 20000), out.constData());
        QTest::qWait(1200);
        ::kill(static_cast<pid_t>(first.processId()), SIGKILL);
        QVERIFY(first.waitForFinished(5000));
        // What the killed host left is a movie without its index.
        const QString recording = captureFolder(home.path()) + "/recordingVideo.mov";
        QVERIFY(QFileInfo::exists(recording));

        QProcess second;
        second.setProcessEnvironment(hostEnvironment(home.path()));
        second.start(QStringLiteral(RECORDING_HOST), {"--stop-after", "2"});
        QByteArray again;
        QVERIFY2(waitForLine(second, "host: recording written", again, 30000), again.constData());
        QVERIFY(again.contains("Screen capture started successfully"));
        QVERIFY(second.waitForFinished(10000));
        QCOMPARE(second.exitCode(), 0);
        const double seconds = durationOf(recording);
        QVERIFY2(seconds > 1.0 && seconds < 4.0, qPrintable(QString::number(seconds)));
    }

    void twoCopiesOfAHostEachReportTheirOwnRecording()
    {
        // Same user, same data folder, recording at the same time: one red,
        // one blue.
        QTemporaryDir home;
        const std::array<int, 2> hues{0, 240};
        std::array<QProcess, 2> hosts;
        for (size_t i = 0; i < hosts.size(); ++i) {
            hosts[i].setProcessEnvironment(hostEnvironment(home.path()));
            hosts[i].start(QStringLiteral(RECORDING_HOST),
                           {"--report-after", "3", "--hue", QString::number(hues[i])});
        }
        std::array<QByteArray, 2> out;
        std::array<QString, 2> reports;
        for (size_t i = 0; i < hosts.size(); ++i) {
            QVERIFY2(waitForLine(hosts[i], "host: report ", out[i], 60000), out[i].constData());
            QVERIFY(hosts[i].waitForFinished(10000));
            out[i] += hosts[i].readAllStandardOutput();
            QCOMPARE(hosts[i].exitCode(), 0);
            const qsizetype at = out[i].indexOf("host: report ") + 13;
            reports[i] = QString::fromUtf8(out[i].mid(at, out[i].indexOf('\n', at) - at));
        }
        QVERIFY(reports[0] != reports[1]);
        for (size_t i = 0; i < hosts.size(); ++i) {
            const QList<int> seen = frameHues(reports[i]);
            QVERIFY2(seen.size() >= 3, qPrintable(reports[i]));
            for (int hue : seen) {
                const int distance = qMin(qAbs(hue - hues[i]), 360 - qAbs(hue - hues[i]));
                QVERIFY2(distance < 30, qPrintable(QStringLiteral("host %1 shows hue %2").arg(i).arg(hue)));
            }
        }
    }

    void theFoldersOfDeadCopiesAreCleared()
    {
        QTemporaryDir home;
        std::array<QProcess, 2> hosts;
        for (QProcess &host : hosts) {
            host.setProcessEnvironment(hostEnvironment(home.path()));
            host.start(QStringLiteral(RECORDING_HOST), {});
            QByteArray out;
            QVERIFY2(waitForLine(host, "Asset writer started", out, 20000), out.constData());
        }
        // The second copy wrote beside the first, not into its files.
        const QString second = captureFolder(home.path()) + "-1";
        QVERIFY(QFileInfo::exists(second + "/recordingVideo.mov"));
        for (QProcess &host : hosts) {
            ::kill(static_cast<pid_t>(host.processId()), SIGKILL);
            QVERIFY(host.waitForFinished(5000));
        }

        QProcess next;
        next.setProcessEnvironment(hostEnvironment(home.path()));
        next.start(QStringLiteral(RECORDING_HOST), {"--stop-after", "1"});
        QByteArray out;
        QVERIFY2(waitForLine(next, "host: recording written", out, 30000), out.constData());
        QVERIFY(next.waitForFinished(10000));
        QVERIFY(QFileInfo::exists(captureFolder(home.path()) + "/recordingVideo.mov"));
        QVERIFY(!QFileInfo::exists(second));
    }

    void anUnwritableCaptureFolderIsReportedAndTheHostRunsOn()
    {
        // A file where the capture folder should be: nothing can be written
        // there, whoever runs the host.
        QTemporaryDir home;
        QDir().mkpath(QFileInfo(captureFolder(home.path())).path());
        QFile blocker(captureFolder(home.path()));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        QProcess host;
        host.setProcessEnvironment(hostEnvironment(home.path()));
        host.start(QStringLiteral(RECORDING_HOST), {});
        QByteArray out;
        QVERIFY2(waitForLine(host, "Error writing screencast to file", out, 20000), out.constData());
        QTest::qWait(500);
        QCOMPARE(host.state(), QProcess::Running);
        host.terminate();
        QVERIFY(host.waitForFinished(5000));
    }
};

QTEST_GUILESS_MAIN(HardeningTest)
#include "tst_hardening.moc"
