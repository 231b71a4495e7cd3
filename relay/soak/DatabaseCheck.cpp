#include "DatabaseCheck.h"

#include "Payload.h"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

namespace soak {

bool writeState(const QString &path, const QList<CreatedItem> &items, const QList<StoredUpload> &uploads,
                QString *error)
{
    QJsonArray itemArray;
    for (const CreatedItem &item : items)
        itemArray.append(QJsonArray{item.id, item.client, item.productId});
    QJsonArray fileArray;
    for (const StoredUpload &upload : uploads)
        fileArray.append(QJsonArray{upload.fileId, upload.itemId, QString::number(upload.seed), upload.size});
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(QJsonDocument(QJsonObject{{QStringLiteral("items"), itemArray}, {QStringLiteral("files"), fileArray}})
                          .toJson(QJsonDocument::Compact))
            < 0) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

namespace {

bool compare(const QString &databasePath, const QJsonObject &state, QSqlDatabase db, QStringList *findings)
{
    db.setDatabaseName(databasePath);
    db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
    if (!db.open()) {
        *findings << QStringLiteral("cannot open %1: %2").arg(databasePath, db.lastError().text());
        return false;
    }
    bool ok = true;
    const auto fail = [&](const QString &text) {
        ok = false;
        if (findings->size() < 20)
            *findings << text;
    };

    QHash<QString, QPair<QString, QString>> items; // id -> (client, product)
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("SELECT id, client, product_id FROM items"))) {
        fail(QStringLiteral("cannot read the items: %1").arg(q.lastError().text()));
        return false;
    }
    while (q.next())
        items.insert(q.value(0).toString(), {q.value(1).toString(), q.value(2).toString()});
    const QJsonArray expectedItems = state.value(QStringLiteral("items")).toArray();
    if (items.size() != expectedItems.size())
        fail(QStringLiteral("the database holds %1 items; the relay confirmed %2 creations")
                 .arg(items.size())
                 .arg(expectedItems.size()));
    for (const QJsonValue &v : expectedItems) {
        const QJsonArray e = v.toArray();
        const auto it = items.constFind(e.at(0).toString());
        if (it == items.constEnd())
            fail(QStringLiteral("item %1 is missing").arg(e.at(0).toString()));
        else if (it->first != e.at(1).toString() || it->second != e.at(2).toString())
            fail(QStringLiteral("item %1 belongs to %2 / %3, not %4 / %5")
                     .arg(e.at(0).toString(), it->first, it->second, e.at(1).toString(), e.at(2).toString()));
    }

    const QJsonArray expectedFiles = state.value(QStringLiteral("files")).toArray();
    int files = -1;
    if (!q.exec(QStringLiteral("SELECT COUNT(*) FROM files")) || !q.next())
        fail(QStringLiteral("cannot count the files: %1").arg(q.lastError().text()));
    else if ((files = q.value(0).toInt()) != expectedFiles.size())
        fail(QStringLiteral("the database holds %1 files; the relay confirmed %2 uploads")
                 .arg(files)
                 .arg(expectedFiles.size()));
    qint64 bytes = 0;
    q.prepare(QStringLiteral("SELECT item_id, size, data FROM files WHERE id = ?"));
    for (const QJsonValue &v : expectedFiles) {
        const QJsonArray e = v.toArray();
        const QString id = e.at(0).toString();
        const qint64 size = e.at(3).toInteger();
        q.bindValue(0, id);
        if (!q.exec() || !q.next()) {
            fail(QStringLiteral("file %1 is missing").arg(id));
            continue;
        }
        if (q.value(0).toString() != e.at(1).toString())
            fail(QStringLiteral("file %1 is on item %2, not %3").arg(id, q.value(0).toString(), e.at(1).toString()));
        else if (q.value(1).toLongLong() != size
                 || q.value(2).toByteArray() != payload(e.at(2).toString().toULongLong(), size))
            fail(QStringLiteral("file %1 does not hold the %2 bytes that were sent").arg(id).arg(size));
        bytes += size;
    }
    *findings << QStringLiteral("database: %1 items (%2 confirmed), %3 files (%4 confirmed), %5 MiB of files "
                                "compared byte for byte")
                     .arg(items.size())
                     .arg(expectedItems.size())
                     .arg(files)
                     .arg(expectedFiles.size())
                     .arg(bytes / 1048576.0, 0, 'f', 1);
    return ok;
}

} // namespace

bool checkDatabase(const QString &databasePath, const QString &statePath, QString *report)
{
    QFile file(statePath);
    if (!file.open(QIODevice::ReadOnly)) {
        *report = QStringLiteral("cannot read %1").arg(statePath);
        return false;
    }
    const QJsonObject state = QJsonDocument::fromJson(file.readAll()).object();
    QStringList findings;
    bool ok = false;
    {
        const QString name = QStringLiteral("soak-check");
        ok = compare(databasePath, state, QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name), &findings);
        QSqlDatabase::removeDatabase(name);
    }
    *report = findings.join(QLatin1Char('\n'));
    return ok;
}

} // namespace soak
