#include "ItemStore.h"

#include "Database.h"
#include "RandomId.h"

#include <QDateTime>
#include <QHash>

namespace relay {

std::optional<Item> ItemStore::create(const QString &productId, const QString &client, const QString &name,
                                      const QString &sink, const QString &remoteId)
{
    Item item;
    item.id = randomHex(12);
    item.productId = productId;
    item.client = client;
    item.name = name;
    item.sink = sink;
    item.remoteId = remoteId;
    item.createdAt = QDateTime::currentMSecsSinceEpoch();
    if (!m_db.exec(QStringLiteral("INSERT INTO items (id, product_id, client, name, sink, remote_id, created_at)"
                                  " VALUES (?, ?, ?, ?, ?, ?, ?)"),
                   {item.id, productId, client, name, sink, remoteId.isEmpty() ? QVariant() : QVariant(remoteId),
                    item.createdAt}))
        return std::nullopt;
    return item;
}

std::optional<Item> ItemStore::latestFor(const QString &productId, const QString &client, qint64 sinceMs)
{
    auto q = m_db.exec(QStringLiteral("SELECT id, name, sink, remote_id, created_at FROM items"
                                      " WHERE product_id = ? AND client = ? AND created_at >= ?"
                                      " ORDER BY created_at DESC, id DESC LIMIT 1"),
                       {productId, client, sinceMs});
    if (!q || !q->next())
        return std::nullopt;
    Item item;
    item.id = q->value(0).toString();
    item.productId = productId;
    item.client = client;
    item.name = q->value(1).toString();
    item.sink = q->value(2).toString();
    item.remoteId = q->value(3).toString();
    item.createdAt = q->value(4).toLongLong();
    return item;
}

std::optional<StoredFile> ItemStore::addFile(const QString &itemId, const QString &title, const QString &fileName,
                                             const QString &mimeType, const QByteArray &data)
{
    StoredFile f;
    f.id = randomHex(12);
    f.itemId = itemId;
    f.title = title;
    f.fileName = fileName;
    f.mimeType = mimeType;
    f.size = data.size();
    f.createdAt = QDateTime::currentMSecsSinceEpoch();
    if (!m_db.exec(QStringLiteral("INSERT INTO files (id, item_id, title, file_name, mime_type, size, data, created_at)"
                                  " VALUES (?, ?, ?, ?, ?, ?, ?, ?)"),
                   {f.id, itemId, title, fileName, mimeType, f.size, data, f.createdAt}))
        return std::nullopt;
    return f;
}

QList<Item> ItemStore::newest(int limit, const QString &productId)
{
    QList<Item> items;
    QHash<QString, int> index;
    const QString filter = productId.isEmpty() ? QString() : QStringLiteral(" WHERE product_id = ?");
    QVariantList values;
    if (!productId.isEmpty())
        values << productId;
    values << limit;
    auto q = m_db.exec(QStringLiteral("SELECT id, product_id, client, name, sink, remote_id, created_at FROM items%1"
                                      " ORDER BY created_at DESC, id DESC LIMIT ?")
                           .arg(filter),
                       values);
    while (q && q->next()) {
        Item item;
        item.id = q->value(0).toString();
        item.productId = q->value(1).toString();
        item.client = q->value(2).toString();
        item.name = q->value(3).toString();
        item.sink = q->value(4).toString();
        item.remoteId = q->value(5).toString();
        item.createdAt = q->value(6).toLongLong();
        index.insert(item.id, int(items.size()));
        items.append(item);
    }
    if (items.isEmpty())
        return items;
    // Files of those items, oldest first within an item.
    QStringList marks;
    QVariantList ids;
    for (const Item &item : items) {
        marks << QStringLiteral("?");
        ids << item.id;
    }
    auto f = m_db.exec(QStringLiteral("SELECT id, item_id, title, file_name, mime_type, size, created_at FROM files"
                                      " WHERE item_id IN (%1) ORDER BY created_at, id")
                           .arg(marks.join(QLatin1Char(','))),
                       ids);
    while (f && f->next()) {
        StoredFile file;
        file.id = f->value(0).toString();
        file.itemId = f->value(1).toString();
        file.title = f->value(2).toString();
        file.fileName = f->value(3).toString();
        file.mimeType = f->value(4).toString();
        file.size = f->value(5).toLongLong();
        file.createdAt = f->value(6).toLongLong();
        if (index.contains(file.itemId))
            items[index.value(file.itemId)].files.append(file);
    }
    return items;
}

std::optional<QPair<StoredFile, QByteArray>> ItemStore::file(const QString &fileId)
{
    auto q = m_db.exec(QStringLiteral("SELECT id, item_id, title, file_name, mime_type, size, created_at, data"
                                      " FROM files WHERE id = ?"),
                       {fileId});
    if (!q || !q->next())
        return std::nullopt;
    StoredFile file;
    file.id = q->value(0).toString();
    file.itemId = q->value(1).toString();
    file.title = q->value(2).toString();
    file.fileName = q->value(3).toString();
    file.mimeType = q->value(4).toString();
    file.size = q->value(5).toLongLong();
    file.createdAt = q->value(6).toLongLong();
    return qMakePair(file, q->value(7).toByteArray());
}

int ItemStore::count()
{
    auto q = m_db.exec(QStringLiteral("SELECT COUNT(*) FROM items"));
    return (q && q->next()) ? q->value(0).toInt() : 0;
}

std::optional<QString> ItemStore::setting(const QString &name)
{
    auto q = m_db.exec(QStringLiteral("SELECT value FROM settings WHERE name = ?"), {name});
    if (!q || !q->next())
        return std::nullopt;
    return q->value(0).toString();
}

bool ItemStore::setSetting(const QString &name, const QString &value)
{
    // Insert if absent (several instances may race; the first one wins).
    return m_db.exec(QStringLiteral("INSERT INTO settings (name, value) VALUES (?, ?) ON CONFLICT (name) DO NOTHING"),
                     {name, value})
        .has_value();
}

} // namespace relay
