// Items (one per report) and their files, and the relay's own settings.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace relay {

class Database;

struct StoredFile {
    QString id;
    QString itemId;
    QString title;
    QString fileName;
    QString mimeType;
    qint64 size = 0;
    qint64 createdAt = 0;
};

struct Item {
    QString id;        // the relay's own id
    QString productId;
    QString client;    // the client address that created it
    QString name;
    QString sink;
    QString remoteId;  // monday's item id, for the monday sink
    qint64 createdAt = 0;
    QList<StoredFile> files;
};

class ItemStore
{
public:
    explicit ItemStore(Database &db) : m_db(db) {}

    std::optional<Item> create(const QString &productId, const QString &client, const QString &name,
                               const QString &sink, const QString &remoteId = {});
    /// The upload pairing rule: the latest item that `client` created for
    /// `productId` at or after `sinceMs`.
    std::optional<Item> latestFor(const QString &productId, const QString &client, qint64 sinceMs);
    std::optional<StoredFile> addFile(const QString &itemId, const QString &title, const QString &fileName,
                                      const QString &mimeType, const QByteArray &data);
    /// Items of the inbox, newest first, with their files (without data).
    QList<Item> newest(int limit, const QString &productId = {});
    /// A file with its bytes.
    std::optional<QPair<StoredFile, QByteArray>> file(const QString &fileId);
    int count();

    std::optional<QString> setting(const QString &name);
    bool setSetting(const QString &name, const QString &value);

private:
    Database &m_db;
};

} // namespace relay
