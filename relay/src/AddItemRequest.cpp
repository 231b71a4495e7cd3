#include "AddItemRequest.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace relay {

std::optional<AddItemRequest> AddItemRequest::parse(const QByteArray &body, int maxNameLength, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !doc.isObject()) {
        *error = QStringLiteral("the body is not a JSON object");
        return std::nullopt;
    }
    const QJsonValue nameValue = doc.object().value(QStringLiteral("item_name"));
    if (!nameValue.isString()) {
        *error = QStringLiteral("item_name must be a text");
        return std::nullopt;
    }
    AddItemRequest request{nameValue.toString()};
    if (request.itemName.trimmed().isEmpty()) {
        *error = QStringLiteral("item_name is empty");
        return std::nullopt;
    }
    if (maxNameLength > 0 && request.itemName.size() > maxNameLength) {
        *error = QStringLiteral("item_name is longer than %1 characters").arg(maxNameLength);
        return std::nullopt;
    }
    return request;
}

} // namespace relay
