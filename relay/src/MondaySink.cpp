#include "MondaySink.h"

#include "RandomId.h"
#include "TextCut.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace relay {
namespace {

const QByteArray kApiVersion = "2024-10";

UpstreamClient::Headers headersFor(const Product &product, const QByteArray &contentType)
{
    return {{"Authorization", product.apiToken.toUtf8()}, {"API-Version", kApiVersion}, {"Content-Type", contentType}};
}

QString shortText(QString text)
{
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return text.size() > 200 ? text.left(200) + QStringLiteral("...") : text;
}

} // namespace

MondaySink::MondaySink(UpstreamClient *upstream, QString apiUrl, QString fileUrl)
    : m_upstream(upstream), m_apiUrl(std::move(apiUrl)), m_fileUrl(std::move(fileUrl))
{
}

bool MondaySink::isSafeId(const QString &id)
{
    static const QRegularExpression safe(QStringLiteral("^[A-Za-z0-9_\\-]{1,128}$"));
    return safe.match(id).hasMatch();
}

void MondaySink::createItem(const Product &product, const QString &itemName, std::function<void(MondayResult)> done)
{
    const QJsonObject body{
        {QStringLiteral("query"),
         QStringLiteral("mutation ($board: ID!, $group: String!, $name: String!) "
                        "{ create_item (board_id: $board, group_id: $group, item_name: $name) { id } }")},
        {QStringLiteral("variables"),
         QJsonObject{{QStringLiteral("board"), product.boardId},
                     {QStringLiteral("group"), product.groupId},
                     {QStringLiteral("name"), itemName}}},
    };
    post(m_apiUrl, headersFor(product, "application/json"), QJsonDocument(body).toJson(QJsonDocument::Compact),
         "create_item", std::move(done));
}

void MondaySink::createUpdate(const Product &product, const QString &itemId, const QString &text,
                              std::function<void(MondayResult)> done)
{
    const QJsonObject body{
        {QStringLiteral("query"),
         QStringLiteral("mutation ($item: ID!, $body: String!) { create_update (item_id: $item, body: $body) { id } }")},
        {QStringLiteral("variables"),
         QJsonObject{{QStringLiteral("item"), itemId}, {QStringLiteral("body"), updateBodyFor(text)}}},
    };
    post(m_apiUrl, headersFor(product, "application/json"), QJsonDocument(body).toJson(QJsonDocument::Compact),
         "create_update", std::move(done));
}

QString MondaySink::itemNameFor(const QString &text)
{
    return cutText(text, kMaxItemNameLength);
}

QString MondaySink::updateBodyFor(const QString &text)
{
    QString html = text.toHtmlEscaped();
    html.replace(QStringLiteral("\r\n"), QStringLiteral("<br>"));
    html.replace(QLatin1Char('\n'), QStringLiteral("<br>"));
    html.replace(QLatin1Char('\r'), QStringLiteral("<br>"));
    return html;
}

void MondaySink::addFile(const Product &product, const QString &itemId, const QString &fileName,
                         const QByteArray &mimeType, const QByteArray &data, std::function<void(MondayResult)> done)
{
    if (!isSafeId(itemId) || !isSafeId(product.fileColumnId)) {
        done({false, {}, QStringLiteral("BAD_CONFIGURATION"),
              QStringLiteral("the item id or the file column id is not a plain id")});
        return;
    }
    const QByteArray boundary = "relay-" + randomHex(16).toLatin1();
    const QByteArray query = "mutation ($file: File!) { add_file_to_column (item_id: " + itemId.toLatin1()
        + ", column_id: \"" + product.fileColumnId.toLatin1() + "\", file: $file) { id } }";
    QByteArray safeName = fileName.toUtf8();
    safeName.replace('"', "_").replace('\r', "_").replace('\n', "_");
    QByteArray body;
    body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"query\"\r\n\r\n" + query + "\r\n";
    body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"variables[file]\"; filename=\""
        + safeName + "\"\r\nContent-Type: " + (mimeType.isEmpty() ? QByteArray("application/octet-stream") : mimeType)
        + "\r\n\r\n" + data + "\r\n";
    body += "--" + boundary + "--\r\n";
    post(m_fileUrl, headersFor(product, "multipart/form-data; boundary=" + boundary), body, "add_file_to_column",
         std::move(done));
}

void MondaySink::post(const QString &url, const UpstreamClient::Headers &headers, const QByteArray &body,
                      const char *field, std::function<void(MondayResult)> done)
{
    m_upstream->post(url, headers, body, [field, done = std::move(done)](const UpstreamAnswer &answer) {
        switch (answer.failure) {
        case UpstreamAnswer::Failure::timedOut:
            return done({false, {}, QStringLiteral("UPSTREAM_TIMEOUT"), QStringLiteral("monday did not answer in time")});
        case UpstreamAnswer::Failure::unreachable:
            return done({false, {}, QStringLiteral("UPSTREAM_UNREACHABLE"),
                         QStringLiteral("monday could not be reached (%1)").arg(answer.error)});
        case UpstreamAnswer::Failure::none:
            return done(readAnswer(answer.status, answer.body, field));
        }
    });
}

MondayResult MondaySink::readAnswer(int httpStatus, const QByteArray &body, const char *field)
{
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &parseError);
    if (!doc.isObject()) {
        return {false, {}, QStringLiteral("HTTP_%1").arg(httpStatus),
                QStringLiteral("monday answered HTTP %1 without JSON").arg(httpStatus)};
    }
    const QJsonObject root = doc.object();
    const QJsonArray errors = root.value(QStringLiteral("errors")).toArray();
    if (!errors.isEmpty()) {
        const QJsonObject first = errors.first().toObject();
        QString code = first.value(QStringLiteral("extensions")).toObject().value(QStringLiteral("code")).toString();
        if (code.isEmpty())
            code = QStringLiteral("GRAPHQL_ERROR");
        return {false, {}, code, shortText(first.value(QStringLiteral("message")).toString())};
    }
    if (root.contains(QStringLiteral("error_code")) || root.contains(QStringLiteral("error_message"))) {
        QString code = root.value(QStringLiteral("error_code")).toString();
        if (code.isEmpty())
            code = QStringLiteral("HTTP_%1").arg(httpStatus);
        return {false, {}, code, shortText(root.value(QStringLiteral("error_message")).toString())};
    }
    const QJsonValue id = root.value(QStringLiteral("data")).toObject().value(QLatin1String(field)).toObject().value(
        QStringLiteral("id"));
    QString text;
    if (id.isString())
        text = id.toString();
    else if (id.isDouble())
        text = QString::number(qint64(id.toDouble()));
    if (text.isEmpty() || httpStatus >= 400) {
        return {false, {}, QStringLiteral("HTTP_%1").arg(httpStatus),
                QStringLiteral("monday's answer holds no %1 id").arg(QLatin1String(field))};
    }
    return {true, text, {}, {}};
}

} // namespace relay
