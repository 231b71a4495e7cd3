// Where reports go.
#pragma once

#include "tessivo_export.h"

#include <QString>

#include <optional>

namespace tessivo {

enum class ShareMethod { shareSheet, trello, monday };

/// "shareSheet", "trello" or "monday".
TESSIVO_EXPORT QString rawValue(ShareMethod method);
/// The method with exactly that raw value (case-sensitive), if any.
TESSIVO_EXPORT std::optional<ShareMethod> shareMethodFromRawValue(const QString &raw);

} // namespace tessivo
