// The add-item body: a JSON object with a text "item_name" that is not blank
// (and, when the relay is set to limit names, not longer than that limit).
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace relay {

struct AddItemRequest {
    QString itemName;

    /// The request in `body`, or nothing with a message for the client in
    /// `error`. `maxNameLength` 0 sets no limit of its own: the body limit
    /// bounds the name.
    static std::optional<AddItemRequest> parse(const QByteArray &body, int maxNameLength, QString *error);
};

} // namespace relay
