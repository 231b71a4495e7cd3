// Products: one per host app (bundle id), with its sink and, for monday,
// the board, group, file column and API token.
#pragma once

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

class ProductStore
{
public:
    explicit ProductStore(Database &db) : m_db(db) {}

    /// Adds a product with a fresh id. The sink is "monday" when a token,
    /// board and group are given, "inbox" otherwise.
    std::optional<Product> add(Product product, QString *error);
    std::optional<Product> byId(const QString &id);
    std::optional<Product> byBundleId(const QString &bundleId);
    QList<Product> all();
    /// Removes the product given by id or bundle id, with its items.
    bool remove(const QString &idOrBundleId);

private:
    std::optional<Product> one(const QString &where, const QString &value);
    Database &m_db;
};

} // namespace relay
