#include "Database.h"

#include "Log.h"

#include <QAtomicInt>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSqlError>
#include <QUrl>

namespace relay {
namespace {

// Each step is run once, in order, inside a transaction. Types are the
// common subset of SQLite and PostgreSQL; BLOB becomes BYTEA on PostgreSQL.
const char *const kMigrations[] = {
    // 1: products, items, files, settings.
    "CREATE TABLE products ("
    " id VARCHAR(64) PRIMARY KEY,"
    " bundle_id VARCHAR(255) NOT NULL UNIQUE,"
    " sink VARCHAR(16) NOT NULL,"
    " board_id VARCHAR(64),"
    " group_id VARCHAR(128),"
    " file_column_id VARCHAR(128),"
    " api_token TEXT,"
    " created_at BIGINT NOT NULL)"
    ";"
    "CREATE TABLE items ("
    " id VARCHAR(64) PRIMARY KEY,"
    " product_id VARCHAR(64) NOT NULL REFERENCES products(id) ON DELETE CASCADE,"
    " client VARCHAR(64) NOT NULL,"
    " name TEXT NOT NULL,"
    " sink VARCHAR(16) NOT NULL,"
    " remote_id VARCHAR(64),"
    " created_at BIGINT NOT NULL)"
    ";"
    "CREATE INDEX items_pairing ON items (product_id, client, created_at)"
    ";"
    "CREATE TABLE files ("
    " id VARCHAR(64) PRIMARY KEY,"
    " item_id VARCHAR(64) NOT NULL REFERENCES items(id) ON DELETE CASCADE,"
    " title VARCHAR(255) NOT NULL,"
    " file_name VARCHAR(255) NOT NULL,"
    " mime_type VARCHAR(128) NOT NULL,"
    " size BIGINT NOT NULL,"
    " data BLOB,"
    " created_at BIGINT NOT NULL)"
    ";"
    "CREATE INDEX files_item ON files (item_id)"
    ";"
    "CREATE TABLE settings ("
    " name VARCHAR(64) PRIMARY KEY,"
    " value TEXT NOT NULL)",
};

QAtomicInt connectionCounter;

} // namespace

Database::~Database()
{
    if (m_db.isValid()) {
        m_db.close();
        m_db = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_connectionName);
    }
}

QString Database::redactedUrl(const QString &url)
{
    QUrl parsed(url);
    if (parsed.isValid() && !parsed.password().isEmpty()) {
        parsed.setPassword(QStringLiteral("xxxxx"));
        return parsed.toString();
    }
    return url;
}

bool Database::open(const QString &url, QString *error)
{
    m_connectionName = QStringLiteral("relay-%1").arg(connectionCounter.fetchAndAddRelaxed(1));
    if (url.startsWith(QLatin1String("sqlite:"))) {
        QString path = url.mid(int(strlen("sqlite:")));
        if (path.startsWith(QLatin1String("//")))
            path = path.mid(2); // sqlite:///abs/path
        QFileInfo info(path);
        if (!QDir().mkpath(info.absolutePath())) {
            *error = QStringLiteral("cannot create the folder %1").arg(info.absolutePath());
            return false;
        }
        m_db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
        m_db.setDatabaseName(info.absoluteFilePath());
        m_db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    } else if (url.startsWith(QLatin1String("postgres://")) || url.startsWith(QLatin1String("postgresql://"))) {
        const QUrl parsed(url);
        if (!parsed.isValid() || parsed.path().size() < 2) {
            *error = QStringLiteral("the PostgreSQL URL %1 is not valid").arg(redactedUrl(url));
            return false;
        }
        m_postgres = true;
        m_db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), m_connectionName);
        m_db.setHostName(parsed.host().isEmpty() ? QStringLiteral("localhost") : parsed.host());
        m_db.setPort(parsed.port(5432));
        m_db.setUserName(parsed.userName());
        m_db.setPassword(parsed.password());
        m_db.setDatabaseName(parsed.path().mid(1));
    } else {
        *error = QStringLiteral("unknown database URL scheme in %1 (use sqlite: or postgresql://)")
                     .arg(redactedUrl(url));
        return false;
    }
    if (!m_db.isValid()) {
        *error = QStringLiteral("the QtSql driver for %1 is not installed").arg(redactedUrl(url));
        return false;
    }
    if (!m_db.open()) {
        *error = QStringLiteral("cannot open %1: %2").arg(redactedUrl(url), m_db.lastError().text());
        return false;
    }
    if (m_postgres) {
        exec(QStringLiteral("SET client_min_messages TO WARNING"));
    } else {
        exec(QStringLiteral("PRAGMA foreign_keys = ON"));
        exec(QStringLiteral("PRAGMA journal_mode = WAL"));
        exec(QStringLiteral("PRAGMA synchronous = NORMAL"));
    }
    return migrate(error);
}

std::optional<QSqlQuery> Database::exec(const QString &sql, const QVariantList &values)
{
    for (int attempt = 0;; ++attempt) {
        QSqlQuery query(m_db);
        // Statements without values run as they are (PostgreSQL cannot
        // prepare schema statements).
        bool ok = values.isEmpty() ? query.exec(sql) : query.prepare(sql);
        if (ok && !values.isEmpty()) {
            for (int i = 0; i < values.size(); ++i)
                query.bindValue(i, values.at(i));
            ok = query.exec();
        }
        if (ok)
            return query;
        const QSqlError error = query.lastError();
        // A dropped server connection (a PostgreSQL restart) is opened again
        // once, outside a transaction; anything else is the statement's fault.
        if (attempt == 0 && m_postgres && !m_inTransaction
            && (error.type() == QSqlError::ConnectionError || !m_db.isOpen() || m_db.isOpenError())) {
            logLine(QStringLiteral("database: connection lost (%1); reconnecting").arg(error.text()));
            m_db.close();
            if (m_db.open()) {
                exec(QStringLiteral("SET client_min_messages TO WARNING"));
                continue;
            }
        }
        logLine(QStringLiteral("database: a statement failed: %1").arg(error.text()));
        return std::nullopt;
    }
}

bool Database::transaction()
{
    m_inTransaction = m_db.transaction();
    return m_inTransaction;
}

bool Database::commit()
{
    m_inTransaction = false;
    return m_db.commit();
}

void Database::rollback()
{
    m_inTransaction = false;
    m_db.rollback();
}

int Database::schemaVersion()
{
    auto q = exec(QStringLiteral("SELECT MAX(version) FROM schema_migrations"));
    if (q && q->next())
        return q->value(0).toInt();
    return 0;
}

bool Database::migrate(QString *error)
{
    if (!exec(QStringLiteral("CREATE TABLE IF NOT EXISTS schema_migrations ("
                             " version INTEGER PRIMARY KEY, applied_at BIGINT NOT NULL)"))) {
        *error = QStringLiteral("cannot create the migrations table");
        return false;
    }
    // Several relay instances may start together on one PostgreSQL
    // database: one migrates while the others wait.
    if (m_postgres)
        exec(QStringLiteral("SELECT pg_advisory_lock(7301001)"));
    bool ok = true;
    const int current = schemaVersion();
    const int count = int(sizeof kMigrations / sizeof kMigrations[0]);
    for (int version = current + 1; ok && version <= count; ++version) {
        transaction();
        QString sql = QString::fromUtf8(kMigrations[version - 1]);
        if (m_postgres)
            sql.replace(QLatin1String(" BLOB"), QLatin1String(" BYTEA"));
        for (const QString &statement : sql.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
            if (!exec(statement)) {
                ok = false;
                break;
            }
        }
        if (ok)
            ok = exec(QStringLiteral("INSERT INTO schema_migrations (version, applied_at) VALUES (?, ?)"),
                      {version, QDateTime::currentMSecsSinceEpoch()})
                     .has_value();
        if (ok) {
            commit();
            logLine(QStringLiteral("database: migrated to schema version %1").arg(version));
        } else {
            rollback();
            *error = QStringLiteral("migration to schema version %1 failed").arg(version);
        }
    }
    if (m_postgres)
        exec(QStringLiteral("SELECT pg_advisory_unlock(7301001)"));
    return ok;
}

} // namespace relay
