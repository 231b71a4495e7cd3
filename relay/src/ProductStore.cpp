#include "ProductStore.h"

#include "Database.h"
#include "RandomId.h"

#include <QDateTime>
#include <QSqlRecord>

namespace relay {
namespace {

const char *const kColumns = "id, bundle_id, sink, board_id, group_id, file_column_id, api_token, created_at";

Product fromQuery(const QSqlQuery &q)
{
    Product p;
    p.id = q.value(0).toString();
    p.bundleId = q.value(1).toString();
    p.sink = q.value(2).toString();
    p.boardId = q.value(3).toString();
    p.groupId = q.value(4).toString();
    p.fileColumnId = q.value(5).toString();
    p.apiToken = q.value(6).toString();
    p.createdAt = q.value(7).toLongLong();
    return p;
}

} // namespace

std::optional<Product> ProductStore::add(Product product, QString *error)
{
    if (product.bundleId.isEmpty() || product.bundleId.size() > 255) {
        *error = QStringLiteral("a bundle id of 1 to 255 characters is required");
        return std::nullopt;
    }
    if (product.sink.isEmpty()) {
        product.sink = (!product.apiToken.isEmpty() && !product.boardId.isEmpty() && !product.groupId.isEmpty())
            ? QStringLiteral("monday")
            : QStringLiteral("inbox");
    }
    if (product.sink != QLatin1String("monday") && product.sink != QLatin1String("inbox")) {
        *error = QStringLiteral("the sink is monday or inbox");
        return std::nullopt;
    }
    if (product.isMonday() && (product.apiToken.isEmpty() || product.boardId.isEmpty() || product.groupId.isEmpty())) {
        *error = QStringLiteral("a monday product needs a token, a board id and a group id");
        return std::nullopt;
    }
    if (one(QStringLiteral("bundle_id"), product.bundleId)) {
        *error = QStringLiteral("a product for %1 exists already").arg(product.bundleId);
        return std::nullopt;
    }
    product.id = randomHex(16);
    product.createdAt = QDateTime::currentMSecsSinceEpoch();
    const auto q = m_db.exec(QStringLiteral("INSERT INTO products (%1) VALUES (?, ?, ?, ?, ?, ?, ?, ?)")
                                 .arg(QLatin1String(kColumns)),
                             {product.id, product.bundleId, product.sink, product.boardId, product.groupId,
                              product.fileColumnId, product.apiToken, product.createdAt});
    if (!q) {
        *error = QStringLiteral("the database refused the product");
        return std::nullopt;
    }
    m_byId.clear();
    m_byBundle.clear();
    return product;
}

std::optional<Product> ProductStore::one(const QString &where, const QString &value)
{
    auto q = m_db.exec(QStringLiteral("SELECT %1 FROM products WHERE %2 = ?").arg(QLatin1String(kColumns), where),
                       {value});
    if (!q || !q->next())
        return std::nullopt;
    return fromQuery(*q);
}

void ProductStore::dropExpired(qint64 now)
{
    // Once per cache time: an entry past it is never answered again, and
    // without the sweep every id anyone ever asked for (unknown ones too)
    // would stay until the cap.
    if (now - m_lastSweepMs >= m_cacheMs) {
        m_lastSweepMs = now;
        const auto expired = [this, now](QHash<QString, Cached>::iterator it) { return now - it->atMs >= m_cacheMs; };
        m_byId.removeIf(expired);
        m_byBundle.removeIf(expired);
    }
    // Bounded, whatever clients ask for within one cache time.
    for (QHash<QString, Cached> *cache : {&m_byId, &m_byBundle}) {
        if (cache->size() > 10000)
            cache->clear();
    }
}

std::optional<Product> ProductStore::cached(QHash<QString, Cached> &cache, const QString &where, const QString &key)
{
    const qint64 now = m_clock.elapsed();
    const auto it = cache.constFind(key);
    if (it != cache.constEnd() && now - it->atMs < m_cacheMs)
        return it->product;
    dropExpired(now);
    std::optional<Product> product = one(where, key);
    cache.insert(key, Cached{product, now});
    return product;
}

std::optional<Product> ProductStore::byId(const QString &id)
{
    if (id.size() > 64)
        return std::nullopt; // longer than any id: neither queried nor cached
    return cached(m_byId, QStringLiteral("id"), id);
}

std::optional<Product> ProductStore::byBundleId(const QString &bundleId)
{
    if (bundleId.size() > 255)
        return std::nullopt;
    return cached(m_byBundle, QStringLiteral("bundle_id"), bundleId);
}

QList<Product> ProductStore::all()
{
    QList<Product> list;
    auto q = m_db.exec(QStringLiteral("SELECT %1 FROM products ORDER BY bundle_id").arg(QLatin1String(kColumns)));
    while (q && q->next())
        list.append(fromQuery(*q));
    return list;
}

bool ProductStore::remove(const QString &idOrBundleId)
{
    std::optional<Product> p = one(QStringLiteral("id"), idOrBundleId);
    if (!p)
        p = one(QStringLiteral("bundle_id"), idOrBundleId);
    if (!p)
        return false;
    m_db.transaction();
    // Explicit deletes, so that the result does not rest on foreign-key
    // enforcement being switched on.
    const bool ok =
        m_db.exec(QStringLiteral("DELETE FROM files WHERE item_id IN (SELECT id FROM items WHERE product_id = ?)"), {p->id})
        && m_db.exec(QStringLiteral("DELETE FROM items WHERE product_id = ?"), {p->id})
        && m_db.exec(QStringLiteral("DELETE FROM products WHERE id = ?"), {p->id});
    if (ok)
        m_db.commit();
    else
        m_db.rollback();
    m_byId.clear();
    m_byBundle.clear();
    return ok;
}

} // namespace relay
