#include "ReportService.h"

#include "AddItemRequest.h"
#include "ItemStore.h"
#include "Log.h"
#include "MondaySink.h"
#include "MultipartParser.h"
#include "ProductStore.h"
#include "RateLimiter.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

namespace relay {
namespace {

using Status = QHttpServerResponse::StatusCode;

QString shortId(const QString &productId)
{
    // Logs name a product by a prefix of its id, never the whole id.
    return productId.left(6) + QStringLiteral("...");
}

} // namespace

ReportService::ReportService(const RelayConfig &config, ProductStore &products, ItemStore &items, MondaySink &monday,
                             RateLimiter &productLimiter)
    : m_config(config), m_products(products), m_items(items), m_monday(monday), m_productLimiter(productLimiter)
{
}

bool ReportService::limitProduct(const QString &productId, const Respond &respond)
{
    if (m_productLimiter.allow(productId))
        return true;
    QHttpServerResponse response = jsonError(Status::TooManyRequests, QStringLiteral("too many reports for this product"));
    response.setHeader(QByteArrayLiteral("Retry-After"),
                       QByteArray::number(m_productLimiter.retryAfterSeconds(productId)));
    respond(std::move(response));
    return false;
}

void ReportService::productId(const HttpExchange &exchange, const Respond &respond)
{
    const QString bundleId = exchange.query.queryItemValue(QStringLiteral("bundleId"), QUrl::FullyDecoded);
    if (bundleId.isEmpty()) {
        respond(jsonError(Status::BadRequest, QStringLiteral("the bundleId parameter is missing")));
        return;
    }
    const std::optional<Product> product = m_products.byBundleId(bundleId);
    if (!product) {
        // An empty object: the kit reads it as "no product id".
        respond(jsonAnswer(QJsonObject{}, Status::NotFound));
        return;
    }
    // Product ids are hexadecimal: the answer needs no JSON escaping.
    QHttpServerResponse response(QByteArrayLiteral("application/json"),
                                 "{\"productId\":\"" + product->id.toLatin1() + "\"}");
    response.addHeader(QByteArrayLiteral("Cache-Control"), QByteArrayLiteral("no-store"));
    respond(std::move(response));
}

void ReportService::addItem(const HttpExchange &exchange, const Respond &respond)
{
    const QString productId = exchange.query.queryItemValue(QStringLiteral("productId"), QUrl::FullyDecoded);
    const std::optional<Product> product = productId.isEmpty() ? std::nullopt : m_products.byId(productId);
    if (!product) {
        respond(jsonError(Status::NotFound, QStringLiteral("unknown product")));
        return;
    }
    QString error;
    const std::optional<AddItemRequest> request =
        AddItemRequest::parse(exchange.body, m_config.maxItemNameLength, &error);
    if (!request) {
        respond(jsonError(Status::BadRequest, error));
        return;
    }
    const QString name = request->itemName;
    if (!limitProduct(product->id, respond))
        return;

    if (!product->isMonday()) {
        const std::optional<Item> item = m_items.create(product->id, exchange.client, name, product->sink);
        if (!item) {
            respond(jsonError(Status::InternalServerError, QStringLiteral("the item could not be stored")));
            return;
        }
        respond(jsonAnswer(QJsonObject{{QStringLiteral("id"), item->id}}));
        return;
    }
    const QString client = exchange.client;
    const Product p = *product;
    // monday takes short item names only: a longer text names the item by
    // its head and follows whole as the item's first update.
    const QString mondayName = MondaySink::itemNameFor(name);
    m_monday.createItem(p, mondayName, [this, p, client, name, mondayName, respond](MondayResult result) {
        if (!result.ok) {
            logLine(QStringLiteral("monday: create_item failed for product %1: %2: %3")
                        .arg(shortId(p.id), result.code, result.message));
            respond(jsonAnswer(QJsonObject{{QStringLiteral("error"), QStringLiteral("monday refused the item")},
                                           {QStringLiteral("code"), result.code},
                                           {QStringLiteral("status"), 502}},
                               Status::BadGateway));
            return;
        }
        // Kept so that the file upload can find the item it belongs to.
        m_items.create(p.id, client, name, p.sink, result.id);
        const QString itemId = result.id;
        if (mondayName == name) {
            respond(jsonAnswer(QJsonObject{{QStringLiteral("id"), itemId}}));
            return;
        }
        // The kit uploads its file as soon as it has the id: answering once
        // the update is posted keeps monday's calls in order (item, text,
        // file). The item exists either way, so a refused update is only
        // logged, and the whole text stays in the relay's own item.
        m_monday.createUpdate(p, itemId, name, [p, itemId, respond](MondayResult update) {
            if (!update.ok) {
                logLine(QStringLiteral("monday: create_update failed for product %1 (item %2 keeps its cut name): "
                                       "%3: %4")
                            .arg(shortId(p.id), itemId, update.code, update.message));
            }
            respond(jsonAnswer(QJsonObject{{QStringLiteral("id"), itemId}}));
        });
    });
}

void ReportService::uploadFile(const HttpExchange &exchange, const Respond &respond)
{
    const std::optional<QByteArray> boundary = MultipartParser::boundary(exchange.contentType);
    if (!boundary) {
        respond(jsonError(Status::BadRequest, QStringLiteral("the body is not multipart/form-data with a boundary")));
        return;
    }
    QString error;
    const auto parts = MultipartParser::parse(exchange.body, *boundary, &error);
    if (!parts) {
        respond(jsonError(Status::BadRequest, QStringLiteral("malformed multipart body: ") + error));
        return;
    }
    QString productId;
    QString title;
    const MultipartPart *file = nullptr;
    for (const MultipartPart &part : *parts) {
        if (part.name == QLatin1String("productId") && !part.fileName) {
            productId = QString::fromUtf8(part.data);
        } else if (part.name == QLatin1String("title") && !part.fileName) {
            title = QString::fromUtf8(part.data).left(255);
        } else if (part.name == QLatin1String("file") && part.fileName) {
            file = &part;
        }
    }
    if (!file) {
        respond(jsonError(Status::BadRequest, QStringLiteral("the file part is missing")));
        return;
    }
    const std::optional<Product> product = productId.isEmpty() ? std::nullopt : m_products.byId(productId);
    if (!product) {
        respond(jsonError(Status::NotFound, QStringLiteral("unknown product")));
        return;
    }
    if (!limitProduct(product->id, respond))
        return;
    const qint64 since = QDateTime::currentMSecsSinceEpoch() - qint64(m_config.pairingWindowSeconds) * 1000;
    const std::optional<Item> item = m_items.latestFor(product->id, exchange.client, since);
    if (!item) {
        logLine(QStringLiteral("upload: no recent item of product %1 from this client; file refused")
                    .arg(shortId(product->id)));
        respond(jsonError(Status::Conflict, QStringLiteral("no recent item from this client to attach the file to")));
        return;
    }
    const QString fileName = file->fileName->left(255);
    if (!product->isMonday()) {
        const auto stored = m_items.addFile(item->id, title, fileName, file->contentType.left(128), file->data);
        if (!stored) {
            respond(jsonError(Status::InternalServerError, QStringLiteral("the file could not be stored")));
            return;
        }
        respond(jsonAnswer(QJsonObject{{QStringLiteral("file_id"), stored->id}, {QStringLiteral("item_id"), item->id}}));
        return;
    }
    const Product p = *product;
    const QString itemId = item->remoteId;
    m_monday.addFile(p, itemId, fileName, file->contentType, file->data, [p, itemId, respond](MondayResult result) {
        if (!result.ok) {
            logLine(QStringLiteral("monday: add_file_to_column failed for product %1: %2: %3")
                        .arg(shortId(p.id), result.code, result.message));
            respond(jsonAnswer(QJsonObject{{QStringLiteral("error"), QStringLiteral("monday refused the file")},
                                           {QStringLiteral("code"), result.code},
                                           {QStringLiteral("status"), 502}},
                               Status::BadGateway));
            return;
        }
        respond(jsonAnswer(QJsonObject{{QStringLiteral("file_id"), result.id}, {QStringLiteral("item_id"), itemId}}));
    });
}

} // namespace relay
