#include "sharing/CreatedIdAnswer.h"

#include "platform/JsonSerialization.h"

#include <QJsonObject>

namespace tessivo {

std::optional<QString> readCreatedId(const std::optional<QByteArray> &data,
                                     const std::optional<UrlError> &error, const QString &errorPrefix,
                                     bool logId, const std::function<void(const QString &)> &log)
{
    if (error) {
        log(errorPrefix + error->description());
        return std::nullopt;
    }
    if (!data) {
        log(QStringLiteral("Can't decode not JSON nor Text"));
        return std::nullopt;
    }
    if (const auto json = jsonObject(*data); json && json->isObject()) {
        const QJsonValue id = json->toObject().value(QStringLiteral("id"));
        if (!id.isString())
            return std::nullopt;
        if (logId)
            log(id.toString());
        return id.toString();
    }
    if (const auto text = stringFromUtf8(*data))
        log(*text);
    else
        log(QStringLiteral("Can't decode not JSON nor Text"));
    return std::nullopt;
}

} // namespace tessivo
