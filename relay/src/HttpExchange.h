// One request as the relay's handlers see it: a copy of what they need
// (QHttpServer's request object does not outlive an asynchronous answer),
// and the means to answer it once.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QHttpServerResponse>
#include <QString>
#include <QUrlQuery>

#include <functional>

namespace relay {

struct HttpExchange {
    QByteArray method;
    QString path;      // without the query
    QUrlQuery query;
    /// The headers the handlers read (copying all of them for every
    /// request costs more than the few that are used).
    QByteArray contentType;
    QByteArray authorization;
    QByteArray cookie;
    QByteArray body;
    QString client;    // the client address (see RelayConfig::trustForwardedFor)
};

using Respond = std::function<void(QHttpServerResponse)>;

/// A JSON error answer: {"error": message, "status": status}. The number
/// member keeps the kit from ever reading an error as a product id.
QHttpServerResponse jsonError(QHttpServerResponse::StatusCode status, const QString &message);
QHttpServerResponse jsonAnswer(const QJsonObject &object,
                               QHttpServerResponse::StatusCode status = QHttpServerResponse::StatusCode::Ok);

} // namespace relay
