// The "Add your name" prompt shown before a report goes out without an
// author: a text field whose placeholder is a generated name, "Cancel" and
// "Send".
#pragma once

#include "tessivo_export.h"

#include <QString>

#include <functional>

namespace tessivo {

class AlertController;

class TESSIVO_EXPORT AuthorPrompt
{
public:
    AuthorPrompt() = delete;

    /// A new, parentless alert. "Send" calls `send` with the field's text
    /// trimmed of whitespace and newlines (empty: the tester accepted the
    /// generated name). "Cancel" only closes the prompt.
    static AlertController *make(const QString &generatedName,
                                 std::function<void(const QString &typedName)> send);
};

} // namespace tessivo
