#include "AdminCli.h"

#include "Database.h"
#include "ItemStore.h"
#include "MondaySink.h"
#include "ProductStore.h"
#include "RelayServer.h"

#include <QDateTime>
#include <QFile>

namespace relay {
namespace {

/// Takes "--name value" or "--name=value" out of `args`.
std::optional<QString> takeOption(QStringList &args, const QString &name)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString a = args.at(i);
        if (a == QLatin1String("--") + name && i + 1 < args.size()) {
            const QString v = args.at(i + 1);
            args.remove(i, 2);
            return v;
        }
        if (a.startsWith(QLatin1String("--") + name + QLatin1Char('='))) {
            args.remove(i);
            return a.mid(name.size() + 3);
        }
    }
    return std::nullopt;
}

} // namespace

AdminCli::AdminCli(const RelayConfig &config, QTextStream &out, QTextStream &err)
    : m_config(config), m_out(out), m_err(err)
{
}

QString AdminCli::usage()
{
    return QStringLiteral(
        "  tessivo-relay serve [SETTINGS]\n"
        "  tessivo-relay product add --bundle-id ID [--sink inbox|monday]\n"
        "                            [--board-id N --group-id G --file-column-id C --token-file PATH]\n"
        "  tessivo-relay product list\n"
        "  tessivo-relay product remove ID_OR_BUNDLE_ID\n"
        "  tessivo-relay admin-token\n");
}

int AdminCli::run(const QString &command, const QStringList &arguments)
{
    if (command == QLatin1String("product"))
        return product(arguments);
    if (command == QLatin1String("admin-token"))
        return adminToken();
    m_err << "unknown command " << command << "\n" << usage();
    return 2;
}

int AdminCli::adminToken()
{
    Database db;
    QString error;
    if (!db.open(m_config.effectiveDatabaseUrl(), &error)) {
        m_err << error << "\n";
        return 1;
    }
    ItemStore items(db);
    m_out << RelayServer::ensureAdminToken(items) << "\n";
    return 0;
}

int AdminCli::product(const QStringList &arguments)
{
    QStringList args = arguments;
    const QString action = args.isEmpty() ? QString() : args.takeFirst();
    Database db;
    QString error;
    if (!db.open(m_config.effectiveDatabaseUrl(), &error)) {
        m_err << error << "\n";
        return 1;
    }
    ProductStore products(db);
    if (action == QLatin1String("list")) {
        m_out << "id\tbundle id\tsink\tboard\tgroup\tfile column\tcreated\n";
        for (const Product &p : products.all()) {
            m_out << p.id << '\t' << p.bundleId << '\t' << p.sink << '\t' << p.boardId << '\t' << p.groupId << '\t'
                  << p.fileColumnId << '\t'
                  << QDateTime::fromMSecsSinceEpoch(p.createdAt, Qt::UTC).toString(Qt::ISODate) << "\n";
        }
        return 0;
    }
    if (action == QLatin1String("remove")) {
        if (args.size() != 1) {
            m_err << "product remove takes one id or bundle id\n";
            return 2;
        }
        if (!products.remove(args.first())) {
            m_err << "no such product\n";
            return 1;
        }
        m_out << "removed\n";
        return 0;
    }
    if (action == QLatin1String("add")) {
        Product p;
        p.bundleId = takeOption(args, QStringLiteral("bundle-id")).value_or(QString());
        p.sink = takeOption(args, QStringLiteral("sink")).value_or(QString());
        p.boardId = takeOption(args, QStringLiteral("board-id")).value_or(QString());
        p.groupId = takeOption(args, QStringLiteral("group-id")).value_or(QString());
        p.fileColumnId = takeOption(args, QStringLiteral("file-column-id")).value_or(QString());
        if (const auto tokenFile = takeOption(args, QStringLiteral("token-file"))) {
            // The token comes from a file, never from the command line
            // (which other users can read in the process list).
            QFile file(*tokenFile);
            if (!file.open(QIODevice::ReadOnly)) {
                m_err << "cannot read the token file " << *tokenFile << "\n";
                return 1;
            }
            p.apiToken = QString::fromUtf8(file.readAll()).trimmed();
        }
        if (!args.isEmpty()) {
            m_err << "unknown arguments: " << args.join(QLatin1Char(' ')) << "\n";
            return 2;
        }
        if (!p.fileColumnId.isEmpty() && !MondaySink::isSafeId(p.fileColumnId)) {
            m_err << "the file column id holds characters a monday id never has\n";
            return 2;
        }
        if ((p.sink == QLatin1String("monday") || !p.apiToken.isEmpty()) && p.fileColumnId.isEmpty()) {
            m_err << "a monday product needs --file-column-id for the report files\n";
            return 2;
        }
        const auto added = products.add(p, &error);
        if (!added) {
            m_err << error << "\n";
            return 1;
        }
        m_out << added->id << "\n";
        return 0;
    }
    m_err << "product add|list|remove\n";
    return 2;
}

} // namespace relay
