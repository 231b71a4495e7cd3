#include "sharing/TrelloManager.h"

#include "sharing/CreatedIdAnswer.h"

#include "core/Configs.h"
#include "platform/Console.h"
#include "platform/JsonSerialization.h"

#include <QJsonObject>
#include <QRegularExpression>
#include <QUrl>
#include <QUuid>

#include <algorithm>

namespace tessivo {
namespace {

const TrelloConfigs *trelloConfigs(const std::shared_ptr<const Configs> &configs)
{
    return dynamic_cast<const TrelloConfigs *>(configs.get());
}

// Key and token never reach the console, whatever text carries them (a
// transport error, an answer that echoes the request). A credential is
// replaced only where it stands whole, as a URL's query value or a word, so
// that a short key cannot eat into the rest of the line. Both are replaced
// in one pass: a credential met inside the marker is never replaced again.
QString scrubbed(const QString &line, const QString &key, const QString &token)
{
    QStringList secrets;
    for (const QString &secret : {key, token}) {
        if (secret.isEmpty())
            continue;
        secrets << QRegularExpression::escape(secret);
        const QString encoded = QString::fromLatin1(QUrl::toPercentEncoding(secret));
        if (encoded != secret)
            secrets << QRegularExpression::escape(encoded);
    }
    if (secrets.isEmpty())
        return line;
    // The longest first, so that a credential holding the other goes whole.
    std::sort(secrets.begin(), secrets.end(),
              [](const QString &a, const QString &b) { return a.size() > b.size(); });
    // Whole: no letter or digit right before (unless it ends a %XX escape,
    // as in "token%3D...") or right after.
    const QRegularExpression whole(
        QStringLiteral("(?:(?<![\\p{L}\\p{N}])|(?<=%[0-9A-Fa-f]{2}))(?:")
            + secrets.join(QLatin1Char('|')) + QStringLiteral(")(?![\\p{L}\\p{N}])"),
        QRegularExpression::UseUnicodePropertiesOption);
    return QString(line).replace(whole, QStringLiteral("<redacted>"));
}

QString boundaryText()
{
    // 36 upper-case hexadecimal characters with hyphens, fresh every time.
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

QString TrelloManager::apiBaseUrl()
{
    QString base = QString::fromUtf8(qgetenv(kApiUrlEnvironment));
    if (base.isEmpty())
        base = QString::fromLatin1(kDefaultApiUrl);
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    if (base.endsWith(QLatin1String("/1")))
        base.chop(2);
    return base;
}

void TrelloManager::createCard(const QString &name, const QString &desc,
                               const std::shared_ptr<const Configs> &configs,
                               std::function<void(std::optional<QString>)> completion)
{
    const TrelloConfigs *trello = trelloConfigs(configs);
    if (!trello)
        return;
    const QString text = apiBaseUrl() + QStringLiteral("/1/cards") + QStringLiteral("?idList=")
        + trello->idList + QStringLiteral("&key=") + trello->key + QStringLiteral("&token=")
        + trello->token;
    const auto url = urlFromString(text);
    if (!url)
        return;

    UrlRequest request(*url);
    request.cachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy;
    request.timeoutInterval = 60;
    request.httpMethod = "POST";
    request.setValue(QStringLiteral("application/json"), QStringLiteral("Content-Type"));
    request.httpBody = jsonObjectData({{QStringLiteral("name"), name}, {QStringLiteral("desc"), desc}});

    UrlSession::shared().dataTask(
        request, [key = trello->key, token = trello->token, completion = std::move(completion)](
                     std::optional<QByteArray> data, std::optional<UrlResponse>,
                     std::optional<UrlError> error) {
            const auto log = [&](const QString &line) { consolePrint(scrubbed(line, key, token)); };
            completion(readCreatedId(data, error, QStringLiteral("Create trello card error:"), true, log));
        });
}

QByteArray TrelloManager::attachmentBody(const QString &boundary, const QString &fileName,
                                         const QByteArray &imageData)
{
    const QByteArray b = boundary.toUtf8();
    QByteArray body;
    body += "\r\n--" + b + "\r\n";
    body += "Content-Disposition: form-data; name=\"reqtype\"\r\n\r\n";
    body += "\r\n--" + b + "\r\n";
    body += "Content-Disposition: form-data; name=\"file\"; filename=\"" + fileName.toUtf8() + "\"\r\n";
    body += "Content-Type: image/png\r\n\r\n";
    body += imageData;
    body += "\r\n--" + b + "--\r\n";
    return body;
}

void TrelloManager::uploadAttachment(const QString &cardId, const QByteArray &imageData,
                                     const QString &fileName,
                                     const std::shared_ptr<const Configs> &configs,
                                     std::function<void(std::optional<UrlError>)> completion)
{
    const TrelloConfigs *trello = trelloConfigs(configs);
    if (!trello)
        return;
    const QString text = apiBaseUrl() + QStringLiteral("/1/cards") + QLatin1Char('/') + cardId
        + QStringLiteral("/attachments?key=") + trello->key + QStringLiteral("&token=")
        + trello->token;
    const auto url = urlFromString(text);
    if (!url)
        return;

    UrlRequest request(*url);
    request.cachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy;
    request.timeoutInterval = 60;
    request.httpMethod = "POST";

    const std::shared_ptr<UrlSession> session = UrlSession::makeSession();
    const QString boundary = boundaryText();
    request.setValue(QStringLiteral("multipart/form-data; boundary=") + boundary,
                     QStringLiteral("Content-Type"));
    const QByteArray body = attachmentBody(boundary, fileName, imageData);

    session->uploadTask(
        request, body,
        [key = trello->key, token = trello->token, completion = std::move(completion)](
            std::optional<QByteArray> data, std::optional<UrlResponse>, std::optional<UrlError> error) {
            if (error) {
                consolePrint(scrubbed(error->localizedDescription, key, token));
            } else if (data) {
                if (const auto text = stringFromUtf8(*data))
                    consolePrint(scrubbed(QStringLiteral("Uploaded to: ") + *text, key, token));
            }
            completion(error);
        });
}

} // namespace tessivo
