// Faults a host can meet: killed mid-recording then relaunched, and a capture
// folder that cannot be written.
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

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
