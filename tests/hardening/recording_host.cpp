// A host that records in the background until it is killed. The hardening
// test kills it with SIGKILL mid-recording and launches it again.
#include <Tessivo/Tessivo.h>

#include "capture/CaptureMananger.h"
#include "platform/Console.h"
#include "platform/UserDefaults.h"

#include <QApplication>
#include <QPainter>
#include <QTimer>
#include <QWidget>

#include <cstdio>

class Busy : public QWidget
{
public:
    Busy()
    {
        resize(320, 240);
        connect(&m_timer, &QTimer::timeout, this, qOverload<>(&QWidget::update));
        m_timer.start(33);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter(this).fillRect(rect(), QColor::fromHsv(m_hue = (m_hue + 9) % 360, 160, 220));
    }

private:
    QTimer m_timer;
    int m_hue = 0;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("HardeningHost"));
    QApplication::setApplicationVersion(QStringLiteral("1.0"));
    Busy window;
    window.show();
    QApplication::setActiveWindow(&window);
    tessivo::UserDefaults::standard().setBool(true, QStringLiteral("userAllowedRecordingKey"));
    tessivo::UserDefaults::standard().setBool(true, QStringLiteral("helperAlreadyPresented"));
    auto &kit = tessivo::TessivoKit::shared();
    kit.initialize(tessivo::TessivoKit::FeedbackGesture::shake, QString(), false);
    // "--stop-after S": stop the recording after S seconds and quit cleanly.
    const int stopAfter = argc > 2 && QByteArray(argv[1]) == "--stop-after" ? QByteArray(argv[2]).toInt() : 0;
    QTimer::singleShot(0, &app, [&kit] { kit.applicationDidBecomeActive(); });
    if (stopAfter > 0) {
        QTimer::singleShot(stopAfter * 1000, &app, [&kit] {
            QObject::connect(kit.captureManager(), &tessivo::CaptureMananger::recordingWritten, qApp,
                             [] {
                                 tessivo::consolePrint(QStringLiteral("host: recording written"));
                                 QApplication::quit();
                             });
            kit.stopProcedure();
        });
    }
    return QApplication::exec();
}
