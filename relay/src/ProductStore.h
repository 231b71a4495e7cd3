// Products: one per host app (bundle id), with its sink and, for monday,
// the board, group, file column and API token.
#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>

namespace relay {

class Database;

struct Product {
    QString id;       // random, unguessable
    QString bundleId;
    QString sink;     // "monday" or "inbox"
    QString boardId;
    QString groupId;
    QString fileColumnId;
    QString apiToken; // never logged, never answered
    qint64 createdAt = 0;

    bool isMonday() const { return sink == QLatin1String("monday"); }
};

/// Lookups are cached in memory for a short time (2 s by default), hits
/// and misses alike: the kit asks for its product id at every start, and a
/// flood of lookups must not become a flood of queries. Changes made by this
/// process show at once; changes made by another relay instance or by the
/// admin command show within the cache time.
class ProductStore
{
public:
    explicit ProductStore(Database &db, int cacheMs = 2000) : m_db(db), m_cacheMs(cacheMs) { m_clock.start(); }

    /// Adds a product with a fresh id. The sink is "monday" when a token,
    /// board and group are given, "inbox" otherwise.
    std::optional<Product> add(Product product, QString *error);
    std::optional<Product> byId(const QString &id);
    std::optional<Product> byBundleId(const QString &bundleId);
    QList<Product> all();
    /// Removes the product given by id or bundle id, with its items.
    bool remove(const QString &idOrBundleId);
    /// Lookups held in memory, hits and misses.
    int cachedEntries() const { return int(m_byId.size() + m_byBundle.size()); }

private:
    struct Cached {
        std::optional<Product> product;
        qint64 atMs = 0;
    };
    std::optional<Product> one(const QString &where, const QString &value);
    std::optional<Product> cached(QHash<QString, Cached> &cache, const QString &where, const QString &key);
    void dropExpired(qint64 now);
    Database &m_db;
    int m_cacheMs;
    QElapsedTimer m_clock;
    qint64 m_lastSweepMs = 0;
    QHash<QString, Cached> m_byId;
    QHash<QString, Cached> m_byBundle;
};

} // namespace relay
