#include "sharing/MondayManager.h"

#include "platform/Bundle.h"
#include "platform/Console.h"
#include "platform/UrlSession.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tessivo {
namespace {

QString relayBaseUrl()
{
    const QByteArray fromEnvironment = qgetenv(MondayManager::kRelayUrlEnvironment);
    if (!fromEnvironment.isEmpty())
        return QString::fromUtf8(fromEnvironment);
    return Bundle::main().object(QString::fromLatin1(MondayManager::kRelayUrlInfoKey)).toString();
}

} // namespace

MondayManager &MondayManager::shared()
{
    static MondayManager manager;
    return manager;
}

const MondayManager::Endpoints &MondayManager::endpoints()
{
    static const Endpoints endpoints = [] {
        Endpoints e;
        QString base = relayBaseUrl();
        while (base.endsWith(QLatin1Char('/')))
            base.chop(1);
        e.configured = !base.isEmpty();
        if (e.configured && !urlFromString(base))
            consolePrint(QStringLiteral("Tessivo: the relay URL \"%1\" is not a valid URL; monday reports cannot be sent.")
                             .arg(base));
        e.productId = base + QStringLiteral("/product-id");
        e.addItem = base + QStringLiteral("/monday/add-item") + QStringLiteral("?productId=");
        e.uploadFile = base + QStringLiteral("/monday/upload-file");
        return e;
    }();
    return endpoints;
}

void MondayManager::fetchProductId(const QString &bundleIdentifier,
                                   std::function<void(std::optional<QString>)> completion)
{
    const Endpoints &e = endpoints();
    if (!e.configured)
        return;
    const auto url = urlFromString(e.productId + QStringLiteral("?bundleId=")
                                   + percentEncodedQueryValue(bundleIdentifier));
    if (!url)
        return;

    UrlRequest request(*url);
    request.cachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy;
    request.timeoutInterval = 60;
    UrlSession::shared().dataTask(request, [completion = std::move(completion)](
                                               std::optional<QByteArray> data,
                                               std::optional<UrlResponse>,
                                               std::optional<UrlError> error) {
        if (error) {
            consolePrint(error->localizedDescription);
            return;
        }
        if (!data) {
            completion(std::nullopt);
            return;
        }
        // A dictionary of text to text; any other shape is no answer.
        const QJsonDocument doc = QJsonDocument::fromJson(*data);
        if (!doc.isObject() || doc.object().isEmpty()) {
            completion(std::nullopt);
            return;
        }
        const QJsonObject object = doc.object();
        for (auto it = object.begin(); it != object.end(); ++it) {
            if (!it.value().isString()) {
                completion(std::nullopt);
                return;
            }
        }
        completion(object.begin().value().toString());
    });
}

} // namespace tessivo
