// tessivo-relay: the relay between the kit's monday client and monday (or
// the relay's own inbox). See docs/RELAY.md.
#include "AdminCli.h"
#include "Log.h"
#include "RelayServer.h"
#include "SignalWatcher.h"

#include <QCoreApplication>
#include <QTextStream>

#ifdef __GLIBC__
#include <malloc.h>
#endif

int main(int argc, char **argv)
{
#ifdef __GLIBC__
    // Request bodies (up to --max-body-bytes) live in memory while they are
    // handled. glibc raises its mmap threshold to the size of the largest
    // block freed, after which such blocks come from the heap, and the heap
    // keeps their pages: under a steady mix of uploads the relay's resident
    // size rose in steps after the largest ones and stayed up. A fixed
    // threshold maps every block of 128 KiB or more on its own and returns
    // it when freed.
    mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tessivo-relay"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TESSIVO_RELAY_VERSION));
    QTextStream out(stdout);
    QTextStream err(stderr);

    QStringList rest;
    QStringList errors;
    const relay::RelayConfig config =
        relay::RelayConfig::fromEnvironmentAndArguments(app.arguments().mid(1), &rest, &errors);
    if (rest.contains(QLatin1String("--help")) || rest.contains(QLatin1String("-h"))) {
        out << "Usage:\n" << relay::AdminCli::usage() << "\nSettings (flag, or environment variable):\n"
            << relay::RelayConfig::usage();
        return 0;
    }
    if (rest.contains(QLatin1String("--version"))) {
        out << "tessivo-relay " << TESSIVO_RELAY_VERSION << "\n";
        return 0;
    }
    if (!errors.isEmpty()) {
        err << errors.join(QLatin1Char('\n')) << "\n";
        return 2;
    }
    const QString command = rest.isEmpty() ? QStringLiteral("serve") : rest.takeFirst();
    if (command != QLatin1String("serve")) {
        relay::AdminCli cli(config, out, err);
        const int code = cli.run(command, rest);
        out.flush();
        err.flush();
        return code;
    }
    if (!rest.isEmpty()) {
        err << "unknown arguments: " << rest.join(QLatin1Char(' ')) << "\n";
        return 2;
    }

    relay::RelayServer server(config);
    QString error;
    if (!server.start(&error)) {
        relay::logLine(QStringLiteral("cannot start: ") + error);
        relay::flushLog();
        return 1;
    }
    relay::SignalWatcher watcher;
    QObject::connect(&watcher, &relay::SignalWatcher::stopRequested, &server, [&server](int number) {
        relay::logLine(QStringLiteral("signal %1: finishing the requests in flight").arg(number));
        server.stop();
    });
    QObject::connect(&server, &relay::RelayServer::stopped, &app, &QCoreApplication::quit);
    const int code = app.exec();
    relay::flushLog();
    return code;
}
