// The Trello client: creates a card in a list, then attaches the report's
// image to it, through the Trello REST API. A namespace without state: every
// call builds its request from its arguments and the host's TrelloConfigs.
#pragma once

#include "platform/UrlSession.h"
#include "tessivo_export.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace tessivo {

class Configs;

class TESSIVO_EXPORT TrelloManager
{
public:
    TrelloManager() = delete;

    /// The REST base: the public Trello API endpoint, or the value of the
    /// TESSIVO_TRELLO_API_URL environment variable (for tests and proxies).
    /// Request paths ("/1/cards...") are appended to it; a base that already
    /// ends with the API version "/1" is accepted and the version is not
    /// doubled. Read at every call.
    static QString apiBaseUrl();
    static constexpr const char *kApiUrlEnvironment = "TESSIVO_TRELLO_API_URL";
    static constexpr const char *kDefaultApiUrl = "https://api.trello.com";

    /// Creates a card named `name` with description `desc` in the list of
    /// the TrelloConfigs. The completion runs on the network thread (never
    /// the GUI thread) with the new card's id, or with nothing. It never runs
    /// when `configs` is missing or not TrelloConfigs, or when no valid URL
    /// can be formed from the list id, key and token.
    static void createCard(const QString &name, const QString &desc,
                           const std::shared_ptr<const Configs> &configs,
                           std::function<void(std::optional<QString>)> completion);

    /// Attaches `imageData` as a PNG file named `fileName` to card `cardId`,
    /// through a session made for this upload. The completion runs on the
    /// network thread with the transport error, or with nothing on success;
    /// it never runs when the configuration is missing or foreign or the URL
    /// is invalid.
    static void uploadAttachment(const QString &cardId, const QByteArray &imageData,
                                 const QString &fileName,
                                 const std::shared_ptr<const Configs> &configs,
                                 std::function<void(std::optional<UrlError>)> completion);

    /// The attachment's multipart body for `boundary` (leading empty line,
    /// an empty "reqtype" part, then the PNG file part).
    static QByteArray attachmentBody(const QString &boundary, const QString &fileName,
                                     const QByteArray &imageData);
};

} // namespace tessivo
