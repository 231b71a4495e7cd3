// The answer to a request that creates something (a Trello card, a monday
// item), read the same way by both clients: judged by its body, never by
// its HTTP status.
#pragma once

#include "platform/UrlSession.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

namespace tessivo {

/// The text "id" of a JSON object answer, or nothing. A transport error
/// logs `errorPrefix` and the error; a body that is not a JSON object logs
/// its text (or "Can't decode not JSON nor Text"); with `logId` the id is
/// logged too.
std::optional<QString> readCreatedId(const std::optional<QByteArray> &data,
                                     const std::optional<UrlError> &error, const QString &errorPrefix,
                                     bool logId, const std::function<void(const QString &)> &log);

} // namespace tessivo
