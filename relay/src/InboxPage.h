// The inbox: a small web page of the reports kept by the inbox sink, newest
// first, with images inline and videos playable, behind the admin token.
//   GET /inbox?token=T   checks T, sets a session cookie, redirects to /inbox
//   GET /inbox           the page (cookie or "Authorization: Bearer T")
//   GET /inbox/files/ID  a file of a report (same protection)
//   GET /inbox/items     the same reports as JSON, for scripts (same protection)
#pragma once

#include "HttpExchange.h"

namespace relay {

class ItemStore;
class ProductStore;

class InboxPage
{
public:
    InboxPage(ItemStore &items, ProductStore &products, QString adminToken);

    void page(const HttpExchange &exchange, const Respond &respond);
    void file(const HttpExchange &exchange, const QString &fileId, const Respond &respond);
    void items(const HttpExchange &exchange, const Respond &respond);

    /// The cookie value that a valid token grants (not the token itself).
    QByteArray sessionValue() const;
    static QString escape(const QString &text);
    /// The type a stored file is served with: known image and video types
    /// inline, anything else as a download.
    static QByteArray servedType(const QByteArray &stored, bool *inlineSafe);

private:
    bool authorised(const HttpExchange &exchange) const;
    QByteArray render();

    ItemStore &m_items;
    ProductStore &m_products;
    QString m_adminToken;
};

} // namespace relay
