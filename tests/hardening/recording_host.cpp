// A host that records in the background until it is killed. The hardening
// test kills it with SIGKILL mid-recording and launches it again, and runs
// two of it at once on one data folder.
//
//   tessivo-recording-host [--stop-after S | --report-after S] [--hue H]
//
// --stop-after S: stop the recording after S seconds and quit cleanly.
// --report-after S: after S seconds take the video option as a tester
// would, add the metadata card, print "host: report <file>" and quit; the
// no-activity or permission alert prints "host: alert <message>" instead
// (exit status 1).
// --hue H: the window is painted in hue H (0-359) alone.
#include <Tessivo/Tessivo.h>

#include "capture/CaptureMananger.h"
#include "core/TopMost.h"
#include "platform/AlertController.h"
#include "platform/Console.h"
#include "platform/Storyboard.h"
#include "platform/UserDefaults.h"
#include "platform/ViewController.h"

#include <QApplication>
#include <QPainter>
#include <QTimer>
#include <QWidget>

#include <cstdio>

class Busy : public QWidget
{
public:
    explicit Busy(int hue) : m_fixedHue(hue)
    {
        resize(320, 240);
        connect(&m_timer, &QTimer::timeout, this, qOverload<>(&QWidget::update));
        m_timer.start(33);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        m_step = (m_step + 9) % 360;
        // One hue: only the brightness moves, so every frame differs.
        const QColor colour = m_fixedHue >= 0 ? QColor::fromHsv(m_fixedHue, 230, 150 + m_step % 90)
                                              : QColor::fromHsv(m_step, 160, 220);
        QPainter(this).fillRect(rect(), colour);
    }

private:
    QTimer m_timer;
    int m_fixedHue = -1;
    int m_step = 0;
};

/// Where the video option hands its movie over, instead of the editor.
class EditorStandIn : public tessivo::ViewController
{
    Q_OBJECT
    Q_PROPERTY(QUrl videoFileURL MEMBER videoFileURL)
public:
    QUrl videoFileURL;
};

namespace {

int option(int argc, char **argv, const char *name, int fallback)
{
    for (int i = 1; i + 1 < argc; ++i) {
        if (QByteArray(argv[i]) == name)
            return QByteArray(argv[i + 1]).toInt();
    }
    return fallback;
}

void say(const QString &line)
{
    tessivo::consolePrint(QStringLiteral("host: ") + line);
}

/// Waits for what the video option presents: the editor gets the metadata
/// card added to its movie; an alert ends the host.
void finishReport(tessivo::CaptureMananger *manager)
{
    auto *poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, qApp, [poll, manager] {
        tessivo::ViewController *top = tessivo::topMostViewController();
        if (auto *alert = qobject_cast<tessivo::AlertController *>(top)) {
            poll->stop();
            say(QStringLiteral("alert ") + alert->message().value_or(QString()));
            QApplication::exit(1);
        } else if (auto *editor = qobject_cast<EditorStandIn *>(top); editor && editor->videoFileURL.isValid()) {
            poll->stop();
            QImage card(320, 240, QImage::Format_RGB32);
            card.fill(Qt::white);
            manager->makeMetadataVideo(
                card, editor->videoFileURL, [](const QUrl &url) {
                    say(QStringLiteral("report ") + url.toLocalFile());
                    QApplication::quit();
                },
                [](const tessivo::MediaError &) { QApplication::exit(1); });
        }
    });
    poll->start(50);
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("HardeningHost"));
    QApplication::setApplicationVersion(QStringLiteral("1.0"));
    Busy window(option(argc, argv, "--hue", -1));
    window.show();
    QApplication::setActiveWindow(&window);
    tessivo::UserDefaults::standard().setBool(true, QStringLiteral("userAllowedRecordingKey"));
    tessivo::UserDefaults::standard().setBool(true, QStringLiteral("helperAlreadyPresented"));
    tessivo::Storyboard::named(QStringLiteral("Main"))
        .registerController(QStringLiteral("videoEditor"), [] { return new EditorStandIn; });
    auto &kit = tessivo::TessivoKit::shared();
    kit.initialize(tessivo::TessivoKit::FeedbackGesture::shake, QString(), false);
    QTimer::singleShot(0, &app, [&kit] { kit.applicationDidBecomeActive(); });
    if (const int stopAfter = option(argc, argv, "--stop-after", 0); stopAfter > 0) {
        QTimer::singleShot(stopAfter * 1000, &app, [&kit] {
            QObject::connect(kit.captureManager(), &tessivo::CaptureMananger::recordingWritten, qApp,
                             [] {
                                 say(QStringLiteral("recording written"));
                                 QApplication::quit();
                             });
            kit.stopProcedure();
        });
    }
    if (const int reportAfter = option(argc, argv, "--report-after", 0); reportAfter > 0) {
        // The tester picks the video option once the recording has stopped.
        QTimer::singleShot(reportAfter * 1000, &app, [&kit] {
            QObject::connect(kit.captureManager(), &tessivo::CaptureMananger::recordingWritten, qApp,
                             [&kit] {
                                 kit.navigationAlreadyStarted = true;
                                 kit.captureManager()->produceVideoFeedback();
                                 finishReport(kit.captureManager());
                             });
            kit.stopProcedure();
        });
    }
    return QApplication::exec();
}

#include "recording_host.moc"
