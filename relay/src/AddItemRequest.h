// The add-item body: a JSON object with a text "item_name" that is neither
// blank nor longer than the relay allows.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace relay {

struct AddItemRequest {
    QString itemName;

    /// The request in `body`, or nothing with a message for the client in
    /// `error`.
    static std::optional<AddItemRequest> parse(const QByteArray &body, int maxNameLength, QString *error);
};

} // namespace relay
