// The demo host app: it links the kit, configures it from the command line
// and forwards its activation, as any host does.
#include "DemoOptions.h"
#include "DemoProbe.h"
#include "DemoRelay.h"
#include "DemoTour.h"
#include "DemoWindow.h"

#include <Tessivo/Tessivo.h>

#include <QApplication>
#include <QDir>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>

namespace {

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

} // namespace

int main(int argc, char **argv)
{
    const bool headless = !hasDisplay();
    if (headless)
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setOrganizationDomain(QStringLiteral("fernhollow.com"));
    QApplication::setOrganizationName(QStringLiteral("Fernhollow"));
    QApplication::setApplicationName(QStringLiteral("TessivoDemo"));
    QApplication::setApplicationVersion(QStringLiteral("1.0"));

    int exitCode = 0;
    auto options = DemoOptions::parse(app, exitCode);
    if (!options)
        return exitCode;
    // Without a display the demo shows what it can do on its own.
    if (headless && !options->headlessSecondsGiven)
        options->tour = true;
    if (headless && options->tour)
        std::printf("tessivo-demo: no display found, so the demo takes its tour on its own.\n");
    // Where monday reports go: the relay named on the command line or in the
    // environment, else a relay of the demo's own with an inbox.
    std::unique_ptr<DemoRelay> relay;
    if (!options->relayUrl.isEmpty()) {
        app.setProperty("TessivoRelayURL", options->relayUrl);
    } else if (qEnvironmentVariableIsEmpty("TESSIVO_RELAY_URL") && !options->noRelay) {
#ifdef TESSIVO_DEMO_RELAY
        const QString dataDir = QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
                                    .filePath(QStringLiteral("demo-relay"));
        relay = std::make_unique<DemoRelay>(QStringLiteral(TESSIVO_DEMO_RELAY), dataDir);
        QString error;
        if (relay->start(QStringLiteral("com.fernhollow.tessivo.demo"), &error)) {
            app.setProperty("TessivoRelayURL", relay->baseUrl());
            std::printf("tessivo-demo: relay at %s\n"
                        "tessivo-demo: inbox at %s\n"
                        "tessivo-demo: inbox admin token %s\n",
                        qPrintable(relay->baseUrl()), qPrintable(relay->inboxUrl()),
                        qPrintable(relay->adminToken()));
        } else {
            std::printf("tessivo-demo: no relay (%s); monday reports are off.\n", qPrintable(error));
            relay.reset();
        }
        std::fflush(stdout);
#endif
    }

    DemoWindow window;
    DemoProbe::fromEnvironment(&app); // a test hook; off unless asked for
    window.show();
    window.activateWindow();

    using tessivo::TessivoKit;
    std::shared_ptr<const tessivo::Configs> configs;
    if (!options->trelloList.isEmpty()) {
        auto trello = std::make_shared<tessivo::TrelloConfigs>(options->trelloList, options->trelloKey,
                                                               options->trelloToken);
        trello->setShareMethod(options->shareMethod.value_or(tessivo::ShareMethod::trello));
        configs = trello;
    }
    TessivoKit::shared().initialize(options->gesture, options->testingNotes,
                                    options->screenshotFromRecording, configs);
    if (options->shareMethod && !configs)
        TessivoKit::shared().shareMethod = *options->shareMethod;

    // The host forwards each activation to the kit.
    QObject::connect(&app, &QGuiApplication::applicationStateChanged, &app,
                     [](Qt::ApplicationState state) {
                         if (state == Qt::ApplicationActive)
                             TessivoKit::shared().applicationDidBecomeActive();
                     });
    if ((QGuiApplication::applicationState() == Qt::ApplicationActive || headless) && !options->tour)
        QTimer::singleShot(0, &app, [] { TessivoKit::shared().applicationDidBecomeActive(); });

    // Name only the triggers the chosen gesture listens to.
    QString trigger = QStringLiteral("a four-finger swipe on a touch screen");
    if (options->gesture == TessivoKit::FeedbackGesture::shake)
        trigger = tessivo::MotionSource::shared().shakeInstructions();
    window.showStatus(trigger.isEmpty() ? QStringLiteral("Use Send feedback to send feedback.")
                                        : QStringLiteral("To send feedback: %1, or use Send feedback.").arg(trigger));
    if (options->tour) {
        // The tour makes its own activation, so that the first run is its own.
        QObject::disconnect(&app, &QGuiApplication::applicationStateChanged, &app, nullptr);
        QTimer::singleShot(300, &app, [&window, &relay, &options] {
            DemoTour tour(&window);
            tour.setScreenshotFolder(options->screenshotFolder);
            if (relay)
                tour.setInbox(relay->baseUrl(), relay->adminToken());
            const int code = tour.run();
            if (relay)
                std::printf("tessivo-demo tour: the reports are in the inbox at %s\n", qPrintable(relay->inboxUrl()));
            std::fflush(stdout);
            QApplication::exit(code);
        });
        return QApplication::exec();
    }
    if (headless) {
        std::printf("tessivo-demo: no display found, so the demo runs headless for %.1f s and exits.\n"
                    "tessivo-demo: run it on a desktop session (or under xvfb-run) to use it.\n",
                    options->headlessSeconds);
        std::fflush(stdout);
        QTimer::singleShot(static_cast<int>(options->headlessSeconds * 1000), &app, [] {
            std::printf("tessivo-demo: headless run finished cleanly.\n");
            QApplication::quit();
        });
    }
    return QApplication::exec();
}
