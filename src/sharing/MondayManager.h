// The monday client. It talks to our relay server, which knows the board;
// the relay identifies the host app by a product id it hands out for the
// host's bundle identifier.
#pragma once

#include "tessivo_export.h"

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

private:
    MondayManager() = default;
};

} // namespace tessivo
