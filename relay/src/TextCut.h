// Cutting a text to a number of UTF-16 code units without splitting a
// character: never between the two halves of a surrogate pair, and where
// possible not inside a cluster of combining marks or an emoji sequence.
#pragma once

#include <QString>

namespace relay {

/// `text` if it has at most `maxLength` code units; otherwise its longest
/// head that ends on a character boundary followed by "…", the whole at most
/// `maxLength` code units (`maxLength` >= 2).
QString cutText(const QString &text, int maxLength);

} // namespace relay
