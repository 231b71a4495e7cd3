// tessivo-relay-soak: the load generator of the relay's bounded soak, and the
// check of the relay's database afterwards. scripts/soak-relay.sh runs both.
//
//   tessivo-relay-soak run --url http://127.0.0.1:PORT --relay-pid PID
//       --product BUNDLE_ID=PRODUCT_ID [--product ...] [--seconds 600] [--rate 100]
//       [--state FILE] [--seed N] [--upload-budget-mb 180]
//   tessivo-relay-soak check-database --database relay.sqlite --state FILE
//
// The relay's limits are read from the same TESSIVO_RELAY_* variables the
// relay reads. Exit status: 0 passed, 1 failed, 2 usage.
#include "DatabaseCheck.h"
#include "LoadGenerator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>
#include <QUrl>

namespace {

int run(const QCommandLineParser &args, QTextStream &out, QTextStream &err)
{
    soak::SoakOptions options;
    const QUrl url(args.value(QStringLiteral("url")));
    options.host = url.host();
    options.port = quint16(url.port(0));
    options.relayPid = args.value(QStringLiteral("relay-pid")).toLongLong();
    options.seconds = args.value(QStringLiteral("seconds")).toInt();
    options.rate = args.value(QStringLiteral("rate")).toDouble();
    options.seed = args.value(QStringLiteral("seed")).toULongLong();
    options.uploadBudgetBytes = args.value(QStringLiteral("upload-budget-mb")).toLongLong() * 1024 * 1024;
    options.limits = soak::RelayLimits::fromEnvironment();
    for (const QString &product : args.values(QStringLiteral("product"))) {
        const qsizetype eq = product.indexOf(QLatin1Char('='));
        if (eq > 0)
            options.products.append({product.left(eq), product.mid(eq + 1)});
    }
    if (options.host.isEmpty() || options.port == 0 || options.relayPid <= 0 || options.products.isEmpty()
        || options.seconds <= 0 || options.rate <= 0) {
        err << "run needs --url, --relay-pid, --product BUNDLE=ID, a positive --seconds and --rate\n";
        return 2;
    }
    if (!soak::RssSampler::readRssKib(options.relayPid)) {
        err << "no process " << options.relayPid << " to sample\n";
        return 2;
    }
    out << QStringLiteral("soak: %1 s at %2 requests/s against %3 (pid %4); body limit %5 bytes, "
                          "client limit %6/min burst %7, idle time-out %8 ms, request time-out %9 ms\n")
               .arg(options.seconds)
               .arg(options.rate)
               .arg(url.toString())
               .arg(options.relayPid)
               .arg(options.limits.maxBodyBytes)
               .arg(options.limits.clientRatePerMinute)
               .arg(options.limits.clientBurst)
               .arg(options.limits.idleTimeoutMs)
               .arg(options.limits.requestTimeoutMs);
    out.flush();

    soak::LoadGenerator generator(options);
    QObject::connect(&generator, &soak::LoadGenerator::finished, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    generator.start();
    QCoreApplication::exec();

    out << generator.summary();
    const QString statePath = args.value(QStringLiteral("state"));
    QString error;
    if (!statePath.isEmpty() && !soak::writeState(statePath, generator.items(), generator.uploads(), &error)) {
        err << error << "\n";
        return 1;
    }
    out << "load verdict: " << (generator.passed() ? "PASS" : "FAIL") << "\n";
    return generator.passed() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    QCommandLineParser args;
    args.setApplicationDescription(QStringLiteral("The relay's bounded soak: load, memory and database checks."));
    args.addHelpOption();
    args.addPositionalArgument(QStringLiteral("command"), QStringLiteral("run or check-database"));
    args.addOptions({
        {QStringLiteral("url"), QStringLiteral("the relay's base URL"), QStringLiteral("url")},
        {QStringLiteral("relay-pid"), QStringLiteral("the relay's process id, for its memory"), QStringLiteral("pid")},
        {QStringLiteral("product"), QStringLiteral("a registered product"), QStringLiteral("bundle=id")},
        {QStringLiteral("seconds"), QStringLiteral("how long the load runs"), QStringLiteral("n"), QStringLiteral("600")},
        {QStringLiteral("rate"), QStringLiteral("requests per second"), QStringLiteral("n"), QStringLiteral("100")},
        {QStringLiteral("seed"), QStringLiteral("seed of the mix"), QStringLiteral("n"), QStringLiteral("1")},
        {QStringLiteral("upload-budget-mb"), QStringLiteral("most file bytes to upload"), QStringLiteral("n"),
         QStringLiteral("180")},
        {QStringLiteral("state"), QStringLiteral("file of what the relay confirmed"), QStringLiteral("path")},
        {QStringLiteral("database"), QStringLiteral("the relay's SQLite database"), QStringLiteral("path")},
    });
    args.process(app);
    const QString command = args.positionalArguments().value(0);
    if (command == QLatin1String("run"))
        return run(args, out, err);
    if (command == QLatin1String("check-database")) {
        QString report;
        const bool ok = soak::checkDatabase(args.value(QStringLiteral("database")), args.value(QStringLiteral("state")),
                                            &report);
        out << report << "\ndatabase verdict: " << (ok ? "PASS" : "FAIL") << "\n";
        return ok ? 0 : 1;
    }
    err << args.helpText();
    return 2;
}
