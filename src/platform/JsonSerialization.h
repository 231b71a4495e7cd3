// JSON the way the platform's JSON serialisation writes and reads it.
#pragma once

#include "tessivo_export.h"

#include <QByteArray>
#include <QJsonValue>
#include <QList>
#include <QPair>
#include <QString>

#include <optional>

namespace tessivo {

/// Serialises an object of text members with no options: compact, members in
/// the given order, '/' written as "\/", '"' and '\' escaped, the control
/// characters as \b \f \n \r \t or \u00xx, everything else as UTF-8.
TESSIVO_EXPORT QByteArray jsonObjectData(const QList<QPair<QString, QString>> &members);

/// Parses `data` as a JSON document (object or array at the top). Nothing
/// when it does not parse.
TESSIVO_EXPORT std::optional<QJsonValue> jsonObject(const QByteArray &data);

/// Decodes `data` as UTF-8; nothing when it is not valid UTF-8.
TESSIVO_EXPORT std::optional<QString> stringFromUtf8(const QByteArray &data);

} // namespace tessivo
