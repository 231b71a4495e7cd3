#include "core/ShareMethod.h"

namespace tessivo {

QString rawValue(ShareMethod method)
{
    switch (method) {
    case ShareMethod::shareSheet:
        return QStringLiteral("shareSheet");
    case ShareMethod::trello:
        return QStringLiteral("trello");
    case ShareMethod::monday:
        return QStringLiteral("monday");
    }
    return {};
}

std::optional<ShareMethod> shareMethodFromRawValue(const QString &raw)
{
    for (ShareMethod m : {ShareMethod::shareSheet, ShareMethod::trello, ShareMethod::monday}) {
        if (rawValue(m) == raw)
            return m;
    }
    return std::nullopt;
}

} // namespace tessivo
