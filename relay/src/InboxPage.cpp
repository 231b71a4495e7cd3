#include "InboxPage.h"

#include "ItemStore.h"
#include "ProductStore.h"
#include "TextCut.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>

namespace relay {
namespace {

using Status = QHttpServerResponse::StatusCode;
const QByteArray kCookie = "tessivo_inbox";
// Longest item heading in the list, in characters.
constexpr int kTitleLength = 200;

bool constantTimeEqual(const QByteArray &a, const QByteArray &b)
{
    if (a.size() != b.size())
        return false;
    unsigned char diff = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

QByteArray cookieValue(const QByteArray &cookieHeader)
{
    for (const QByteArray &pair : cookieHeader.split(';')) {
        const QByteArray trimmed = pair.trimmed();
        if (trimmed.startsWith(kCookie + '='))
            return trimmed.mid(kCookie.size() + 1);
    }
    return {};
}

void addPageHeaders(QHttpServerResponse &response)
{
    response.addHeader(QByteArrayLiteral("Cache-Control"), QByteArrayLiteral("no-store"));
    response.addHeader(QByteArrayLiteral("X-Content-Type-Options"), QByteArrayLiteral("nosniff"));
    response.addHeader(QByteArrayLiteral("Referrer-Policy"), QByteArrayLiteral("no-referrer"));
    response.addHeader(QByteArrayLiteral("X-Frame-Options"), QByteArrayLiteral("DENY"));
    response.addHeader(QByteArrayLiteral("Content-Security-Policy"),
                       QByteArrayLiteral("default-src 'none'; img-src 'self'; media-src 'self'; "
                                         "style-src 'unsafe-inline'; frame-ancestors 'none'"));
}

QHttpServerResponse refused()
{
    QHttpServerResponse response(QByteArrayLiteral("text/html; charset=utf-8"),
                                 QByteArrayLiteral("<!doctype html><title>Tessivo inbox</title>"
                                                   "<p>The inbox needs the admin token: open /inbox?token=...</p>"),
                                 Status::Unauthorized);
    addPageHeaders(response);
    return response;
}

} // namespace

InboxPage::InboxPage(ItemStore &items, ProductStore &products, QString adminToken)
    : m_items(items), m_products(products), m_adminToken(std::move(adminToken))
{
}

QByteArray InboxPage::sessionValue() const
{
    return QCryptographicHash::hash("tessivo-inbox-session:" + m_adminToken.toUtf8(), QCryptographicHash::Sha256)
        .toHex();
}

QString InboxPage::escape(const QString &text)
{
    return text.toHtmlEscaped().replace(QLatin1Char('\''), QLatin1String("&#39;"));
}

QByteArray InboxPage::servedType(const QByteArray &stored, bool *inlineSafe)
{
    const QByteArray type = stored.trimmed().toLower();
    static const QHash<QByteArray, QByteArray> known = {
        {"image/png", "image/png"},     {"image/jpeg", "image/jpeg"},  {"image/gif", "image/gif"},
        {"image/webp", "image/webp"},   {"video/mp4", "video/mp4"},    {"video/quicktime", "video/quicktime"},
        {"video/mov", "video/mp4"},     {"video/webm", "video/webm"},
    };
    // "video/mov" is what the kit sends for its QuickTime-family movie; it is
    // offered as MP4, which browsers play.
    *inlineSafe = known.contains(type);
    return known.value(type, QByteArrayLiteral("application/octet-stream"));
}

bool InboxPage::authorised(const HttpExchange &exchange) const
{
    const QByteArray authorization = exchange.authorization;
    if (authorization.startsWith("Bearer ")
        && constantTimeEqual(authorization.mid(7).trimmed(), m_adminToken.toUtf8()))
        return true;
    const QByteArray cookie = cookieValue(exchange.cookie);
    return !cookie.isEmpty() && constantTimeEqual(cookie, sessionValue());
}

void InboxPage::page(const HttpExchange &exchange, const Respond &respond)
{
    if (exchange.query.hasQueryItem(QStringLiteral("token"))) {
        const QByteArray token = exchange.query.queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded).toUtf8();
        if (!constantTimeEqual(token, m_adminToken.toUtf8())) {
            respond(refused());
            return;
        }
        // The token leaves the address bar at once; a cookie carries the
        // session from here on.
        QHttpServerResponse response(Status::SeeOther);
        response.addHeader(QByteArrayLiteral("Location"), QByteArrayLiteral("/inbox"));
        response.addHeader(QByteArrayLiteral("Set-Cookie"),
                           kCookie + '=' + sessionValue() + "; Path=/inbox; HttpOnly; SameSite=Strict");
        addPageHeaders(response);
        respond(std::move(response));
        return;
    }
    if (!authorised(exchange)) {
        respond(refused());
        return;
    }
    QHttpServerResponse response(QByteArrayLiteral("text/html; charset=utf-8"), render());
    addPageHeaders(response);
    respond(std::move(response));
}

QByteArray InboxPage::render()
{
    QHash<QString, QString> bundles;
    for (const Product &p : m_products.all())
        bundles.insert(p.id, p.bundleId);
    const QList<Item> items = m_items.newest(200);
    QString html = QStringLiteral(
        "<!doctype html><html lang=\"en\"><head><meta charset=\"utf-8\">"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">"
        "<title>Tessivo inbox</title><style>"
        "body{font-family:system-ui,sans-serif;margin:2rem;background:#f6f6f8;color:#222}"
        "article{background:#fff;border-radius:8px;padding:1rem;margin:0 0 1rem;box-shadow:0 1px 3px #0002}"
        "h2{font-size:1.1rem;margin:0 0 .3rem;white-space:pre-wrap;overflow-wrap:anywhere}"
        ".report-text div{white-space:pre-wrap;overflow-wrap:anywhere;margin:.4rem 0}"
        "summary{cursor:pointer;color:#555;font-size:.9rem}"
        ".meta{color:#666;font-size:.85rem}img,video{max-width:100%;max-height:70vh;display:block;margin-top:.6rem}"
        "</style></head><body><h1>Tessivo inbox</h1>");
    if (items.isEmpty())
        html += QStringLiteral("<p class=\"empty\">No reports yet.</p>");
    for (const Item &item : items) {
        const QString time = QDateTime::fromMSecsSinceEpoch(item.createdAt, Qt::UTC).toString(Qt::ISODate);
        // A long text is headed by its beginning; the whole text follows,
        // folded, so that the list stays readable.
        const QString title = cutText(item.name, kTitleLength);
        html += QStringLiteral("<article class=\"report\" id=\"item-%1\"><h2>%2</h2>"
                               "<div class=\"meta\"><time datetime=\"%3\">%3</time> &middot; %4</div>")
                    .arg(escape(item.id), escape(title), escape(time),
                         escape(bundles.value(item.productId, QStringLiteral("removed product"))));
        if (title != item.name) {
            html += QStringLiteral("<details class=\"report-text\"><summary>Whole text (%1 characters)</summary>"
                                   "<div>%2</div></details>")
                        .arg(QString::number(item.name.toUcs4().size()), escape(item.name));
        }
        for (const StoredFile &file : item.files) {
            bool inlineSafe = false;
            const QByteArray type = servedType(file.mimeType.toUtf8(), &inlineSafe);
            const QString src = QStringLiteral("/inbox/files/") + escape(file.id);
            if (inlineSafe && type.startsWith("image/")) {
                html += QStringLiteral("<img class=\"report-image\" src=\"%1\" alt=\"%2\">").arg(src, escape(file.fileName));
            } else if (inlineSafe && type.startsWith("video/")) {
                html += QStringLiteral("<video class=\"report-video\" controls preload=\"metadata\" src=\"%1\"></video>")
                            .arg(src);
            } else {
                html += QStringLiteral("<p><a href=\"%1\">%2</a></p>").arg(src, escape(file.fileName));
            }
        }
        html += QStringLiteral("</article>");
    }
    html += QStringLiteral("</body></html>");
    return html.toUtf8();
}

void InboxPage::items(const HttpExchange &exchange, const Respond &respond)
{
    if (!authorised(exchange)) {
        respond(jsonError(Status::Unauthorized, QStringLiteral("the inbox needs the admin token")));
        return;
    }
    QHash<QString, QString> bundles;
    for (const Product &p : m_products.all())
        bundles.insert(p.id, p.bundleId);
    QJsonArray list;
    for (const Item &item : m_items.newest(200)) {
        QJsonArray files;
        for (const StoredFile &file : item.files)
            files.append(QJsonObject{{QStringLiteral("id"), file.id},
                                     {QStringLiteral("title"), file.title},
                                     {QStringLiteral("fileName"), file.fileName},
                                     {QStringLiteral("mimeType"), file.mimeType},
                                     {QStringLiteral("size"), file.size},
                                     {QStringLiteral("url"), QStringLiteral("/inbox/files/") + file.id}});
        list.append(QJsonObject{{QStringLiteral("id"), item.id},
                                {QStringLiteral("name"), item.name},
                                {QStringLiteral("bundleId"), bundles.value(item.productId)},
                                {QStringLiteral("createdAt"),
                                 QDateTime::fromMSecsSinceEpoch(item.createdAt, Qt::UTC).toString(Qt::ISODateWithMs)},
                                {QStringLiteral("files"), files}});
    }
    QHttpServerResponse response = jsonAnswer(QJsonObject{{QStringLiteral("items"), list}});
    response.addHeader(QByteArrayLiteral("Cache-Control"), QByteArrayLiteral("no-store"));
    respond(std::move(response));
}

void InboxPage::file(const HttpExchange &exchange, const QString &fileId, const Respond &respond)
{
    if (!authorised(exchange)) {
        respond(jsonError(Status::Unauthorized, QStringLiteral("the inbox needs the admin token")));
        return;
    }
    const auto stored = m_items.file(fileId);
    if (!stored) {
        respond(jsonError(Status::NotFound, QStringLiteral("no such file")));
        return;
    }
    bool inlineSafe = false;
    const QByteArray type = servedType(stored->first.mimeType.toUtf8(), &inlineSafe);
    QHttpServerResponse response(type, stored->second);
    addPageHeaders(response);
    if (!inlineSafe)
        response.addHeader(QByteArrayLiteral("Content-Disposition"), QByteArrayLiteral("attachment"));
    respond(std::move(response));
}

} // namespace relay
