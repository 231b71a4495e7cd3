#include "core/CaptureInfo.h"

namespace tessivo {

const QStringList &noteTypes()
{
    static const QStringList types{QStringLiteral("Feedback"), QStringLiteral("Bug"),
                                   QStringLiteral("Suggestion"), QStringLiteral("Other")};
    return types;
}

} // namespace tessivo
