#include "sharing/MondayManager.h"

#include "sharing/CreatedIdAnswer.h"

#include "core/TessivoKit.h"
#include "platform/Bundle.h"
#include "platform/Console.h"
#include "platform/JsonSerialization.h"
#include "platform/UrlSession.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <stdexcept>

namespace tessivo {
namespace {

QString relayBaseUrl()
{
    const QByteArray fromEnvironment = qgetenv(MondayManager::kRelayUrlEnvironment);
    if (!fromEnvironment.isEmpty())
        return QString::fromUtf8(fromEnvironment);
    return Bundle::main().object(QString::fromLatin1(MondayManager::kRelayUrlInfoKey)).toString();
}

QByteArray utf8(const QString &text)
{
    // A text with an unpaired surrogate has no UTF-8 form.
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            ++i;
            continue;
        }
        if (c.isSurrogate())
            throw std::runtime_error("a multipart text piece cannot be encoded as UTF-8");
    }
    return text.toUtf8();
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

void MondayManager::addItem(const QString &itemName,
                            std::function<void(std::optional<QString>)> completion)
{
    const std::optional<QString> productId = TessivoKit::shared().productId();
    if (!productId)
        return;
    const auto url = urlFromString(endpoints().addItem + *productId);
    if (!url)
        return;

    UrlRequest request(*url);
    request.cachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy;
    request.timeoutInterval = 60;
    request.httpMethod = "POST";
    request.setValue(QStringLiteral("application/json"), QStringLiteral("Content-Type"));
    request.httpBody = jsonObjectData({{QStringLiteral("item_name"), itemName}});

    UrlSession::shared().dataTask(request, [completion = std::move(completion)](
                                               std::optional<QByteArray> data,
                                               std::optional<UrlResponse>,
                                               std::optional<UrlError> error) {
        // Unlike the Trello client, the id is not printed.
        completion(readCreatedId(data, error, QStringLiteral("Create monday card error:"), false, consolePrint));
    });
}

void MondayManager::uploadImage(const QByteArray &imageData)
{
    upload(imageData, UrlRequestCachePolicy::reloadIgnoringLocalCacheData, 5,
           QStringLiteral("UploadImage"), QStringLiteral("image/png"), QStringLiteral("testFile.png"));
}

void MondayManager::uploadVideo(const QByteArray &videoData)
{
    upload(videoData, UrlRequestCachePolicy::useProtocolCachePolicy, 60,
           QStringLiteral("UploadVideo"), QStringLiteral("video/mov"), QStringLiteral("upload.mov"));
}

void MondayManager::upload(const QByteArray &data, UrlRequestCachePolicy cachePolicy,
                           double timeout, const QString &title, const QString &mimeType,
                           const QString &fileName)
{
    const std::optional<QString> productId = TessivoKit::shared().productId();
    if (!productId)
        return;
    const auto url = urlFromString(endpoints().uploadFile);
    if (!url)
        return;

    UrlRequest request(*url);
    request.cachePolicy = cachePolicy;
    request.timeoutInterval = timeout;
    request.httpMethod = "POST";
    const QString boundary = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    // The space before '=' is how this client writes it; the relay accepts it.
    request.setValue(QStringLiteral("multipart/form-data; boundary =") + boundary,
                     QStringLiteral("Content-Type"));
    const QHash<QString, QString> parameters{{QStringLiteral("productId"), *productId},
                                             {QStringLiteral("title"), title}};
    QByteArray body;
    try {
        body = createBody(parameters, boundary, data, mimeType, QStringLiteral("file"), fileName);
    } catch (const std::exception &e) {
        qFatal("MondayManager: cannot create the upload body: %s", e.what());
    }
    request.httpBody = body;

    UrlSession::shared().dataTask(request, [](std::optional<QByteArray> data,
                                              std::optional<UrlResponse> response,
                                              std::optional<UrlError> error) {
        consolePrint(taskResultDescription(data, response, error));
    });
}

QByteArray MondayManager::createBody(const QHash<QString, QString> &parameters,
                                     const QString &boundary, const QByteArray &data,
                                     const QString &mimeType, const QString &fieldName,
                                     const QString &fileName)
{
    const QByteArray b = utf8(boundary);
    QByteArray body;
    for (auto it = parameters.cbegin(); it != parameters.cend(); ++it) {
        body += "--" + b + "\r\n";
        body += "Content-Disposition: form-data; name=\"" + utf8(it.key()) + "\"\r\n\r\n";
        body += utf8(it.value()) + "\r\n";
    }
    body += "--" + b + "\r\n";
    body += "Content-Disposition: form-data; name=\"" + utf8(fieldName) + "\"; filename=\""
        + utf8(fileName) + "\"\r\n";
    body += "Content-Type: " + utf8(mimeType) + "\r\n\r\n";
    body += data;
    body += "\r\n";
    body += "--" + b + "--\r\n";
    return body;
}

} // namespace tessivo
