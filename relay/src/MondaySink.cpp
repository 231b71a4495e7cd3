#include "MondaySink.h"

#include "RandomId.h"
#include "TextCut.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>

namespace relay {
namespace {

const QByteArray kApiVersion = "2024-10";

QNetworkRequest requestFor(const QString &url, const Product &product, int timeoutMs)
{
    QNetworkRequest request{QUrl(url)};
    request.setTransferTimeout(timeoutMs);
    request.setRawHeader("Authorization", product.apiToken.toUtf8());
    request.setRawHeader("API-Version", kApiVersion);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    return request;
}

QString shortText(QString text)
{
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return text.size() > 200 ? text.left(200) + QStringLiteral("...") : text;
}

} // namespace

MondaySink::MondaySink(QNetworkAccessManager *network, QString apiUrl, QString fileUrl, int timeoutMs)
    : m_network(network), m_apiUrl(std::move(apiUrl)), m_fileUrl(std::move(fileUrl)), m_timeoutMs(timeoutMs)
{
}

bool MondaySink::isSafeId(const QString &id)
{
    static const QRegularExpression safe(QStringLiteral("^[A-Za-z0-9_\\-]{1,128}$"));
    return safe.match(id).hasMatch();
}

void MondaySink::createItem(const Product &product, const QString &itemName, std::function<void(MondayResult)> done)
{
    QNetworkRequest request = requestFor(m_apiUrl, product, m_timeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    const QJsonObject body{
        {QStringLiteral("query"),
         QStringLiteral("mutation ($board: ID!, $group: String!, $name: String!) "
                        "{ create_item (board_id: $board, group_id: $group, item_name: $name) { id } }")},
        {QStringLiteral("variables"),
         QJsonObject{{QStringLiteral("board"), product.boardId},
                     {QStringLiteral("group"), product.groupId},
                     {QStringLiteral("name"), itemName}}},
    };
    QNetworkReply *reply = m_network->post(request, QJsonDocument(body).toJson(QJsonDocument::Compact));
    finish(reply, "create_item", std::move(done));
}

void MondaySink::createUpdate(const Product &product, const QString &itemId, const QString &text,
                              std::function<void(MondayResult)> done)
{
    QNetworkRequest request = requestFor(m_apiUrl, product, m_timeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    const QJsonObject body{
        {QStringLiteral("query"),
         QStringLiteral("mutation ($item: ID!, $body: String!) { create_update (item_id: $item, body: $body) { id } }")},
        {QStringLiteral("variables"),
         QJsonObject{{QStringLiteral("item"), itemId}, {QStringLiteral("body"), updateBodyFor(text)}}},
    };
    QNetworkReply *reply = m_network->post(request, QJsonDocument(body).toJson(QJsonDocument::Compact));
    finish(reply, "create_update", std::move(done));
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
    QNetworkRequest request = requestFor(m_fileUrl, product, m_timeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, "multipart/form-data; boundary=" + boundary);
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
    QNetworkReply *reply = m_network->post(request, body);
    finish(reply, "add_file_to_column", std::move(done));
}

void MondaySink::finish(QNetworkReply *reply, const char *field, std::function<void(MondayResult)> done)
{
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, field, done = std::move(done)] {
        reply->deleteLater();
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid()) {
            const bool timedOut = reply->error() == QNetworkReply::OperationCanceledError
                || reply->error() == QNetworkReply::TimeoutError;
            done({false, {}, timedOut ? QStringLiteral("UPSTREAM_TIMEOUT") : QStringLiteral("UPSTREAM_UNREACHABLE"),
                  timedOut ? QStringLiteral("monday did not answer in time")
                           : QStringLiteral("monday could not be reached (network error %1)").arg(int(reply->error()))});
            return;
        }
        done(readAnswer(status.toInt(), reply->readAll(), field));
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
