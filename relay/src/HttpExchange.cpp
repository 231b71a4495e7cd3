#include "HttpExchange.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace relay {

QHttpServerResponse jsonAnswer(const QJsonObject &object, QHttpServerResponse::StatusCode status)
{
    QHttpServerResponse response(QByteArrayLiteral("application/json"),
                                 QJsonDocument(object).toJson(QJsonDocument::Compact), status);
    response.addHeader(QByteArrayLiteral("Cache-Control"), QByteArrayLiteral("no-store"));
    return response;
}

QHttpServerResponse jsonError(QHttpServerResponse::StatusCode status, const QString &message)
{
    return jsonAnswer(QJsonObject{{QStringLiteral("error"), message}, {QStringLiteral("status"), int(status)}},
                      status);
}

} // namespace relay
