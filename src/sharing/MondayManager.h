// The monday client. It talks to our relay server, which knows the board;
// the relay identifies the host app by a product id it hands out for the
// host's bundle identifier.
#pragma once

#include "platform/UrlSession.h"
#include "tessivo_export.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <functional>
#include <optional>

namespace tessivo {

class TESSIVO_EXPORT MondayManager
{
public:
    /// The relay endpoints, derived once from the relay base URL: the
    /// TESSIVO_RELAY_URL environment variable, else the host's bundle-info
    /// key "TessivoRelayURL".
    struct Endpoints {
        QString productId; // base + "/product-id"
        QString addItem;   // base + "/monday/add-item?productId="
        QString uploadFile; // base + "/monday/upload-file"
        bool configured = false;
    };
    static const Endpoints &endpoints();
    static constexpr const char *kRelayUrlEnvironment = "TESSIVO_RELAY_URL";
    static constexpr const char *kRelayUrlInfoKey = "TessivoRelayURL";

    /// The client's one instance (stateless; it exists for symmetry with
    /// the kit's start-up).
    static MondayManager &shared();

    /// Asks the relay for the product id of `bundleIdentifier`. The
    /// completion runs on the network thread with the id or with nothing;
    /// it never runs on a transport error or when no URL can be formed.
    static void fetchProductId(const QString &bundleIdentifier,
                               std::function<void(std::optional<QString>)> completion);

    /// Creates the item `itemName` on the product's board through the relay.
    /// The completion runs on the network thread with the item's id or with
    /// nothing. Without a product id yet, or when the URL is invalid, nothing
    /// is sent and the completion never runs.
    static void addItem(const QString &itemName,
                        std::function<void(std::optional<QString>)> completion);

    /// Uploads the report's PNG image ("UploadImage", "testFile.png",
    /// 5-second time-out). The outcome is only logged.
    static void uploadImage(const QByteArray &imageData);
    /// Uploads the report's movie ("UploadVideo", "upload.mov", "video/mov",
    /// 60-second time-out). The outcome is only logged.
    static void uploadVideo(const QByteArray &videoData);

    /// The multipart body: one part per parameter (in the hash's own
    /// iteration order), then the file part, then the closing delimiter.
    /// Throws std::runtime_error when a text piece cannot be encoded as
    /// UTF-8 (it cannot happen for well-formed texts).
    static QByteArray createBody(const QHash<QString, QString> &parameters,
                                 const QString &boundary, const QByteArray &data,
                                 const QString &mimeType, const QString &fieldName,
                                 const QString &fileName);

private:
    MondayManager() = default;
    static void upload(const QByteArray &data, UrlRequestCachePolicy cachePolicy,
                       double timeout, const QString &title, const QString &mimeType,
                       const QString &fileName);
};

} // namespace tessivo
