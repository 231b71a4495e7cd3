#include "AnswerCheck.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

namespace soak {

QString AnswerCheck::problem(const SoakRequest &request, const HttpAnswer &answer)
{
    if (request.expected.isEmpty())
        return QStringLiteral("an answer to a request that never arrived whole");
    if (!request.expected.contains(answer.status)) {
        QStringList allowed;
        for (const int s : request.expected)
            allowed << QString::number(s);
        return QStringLiteral("expected %1").arg(allowed.join(QStringLiteral(" or ")));
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(answer.body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !doc.isObject())
        return QStringLiteral("the body is not a JSON object");
    const QJsonObject o = doc.object();
    if (answer.status == 429 && answer.header("Retry-After").toInt() < 1)
        return QStringLiteral("a 429 without a Retry-After of at least 1 s");
    if (answer.status == 404 && (request.kind == Kind::LookupMiss))
        return o.isEmpty() ? QString() : QStringLiteral("an unknown bundle must read as {}");
    if (answer.status >= 400) {
        // The kit takes an object of text members only for a product id: an
        // error always carries its status as a number.
        if (!o.value(QStringLiteral("error")).isString() || o.value(QStringLiteral("status")).toInt() != answer.status)
            return QStringLiteral("an error without {\"error\": text, \"status\": %1}").arg(answer.status);
        return {};
    }
    switch (request.kind) {
    case Kind::LookupHit:
    case Kind::Burst:
        return o.value(QStringLiteral("productId")).toString() == request.expectedProductId
            ? QString()
            : QStringLiteral("the wrong product id");
    case Kind::Health:
        return o.value(QStringLiteral("status")).toString() == QLatin1String("ok") ? QString()
                                                                                   : QStringLiteral("not healthy");
    case Kind::AddItem:
        return o.value(QStringLiteral("id")).toString().isEmpty() ? QStringLiteral("no item id") : QString();
    case Kind::Upload:
    case Kind::UploadRetry:
        if (o.value(QStringLiteral("file_id")).toString().isEmpty())
            return QStringLiteral("no file id");
        if (o.value(QStringLiteral("item_id")).toString() != request.expectedItemId)
            return QStringLiteral("paired with item %1 instead of %2 (this tester's latest)")
                .arg(o.value(QStringLiteral("item_id")).toString(), request.expectedItemId);
        return {};
    default: return {};
    }
}

} // namespace soak
