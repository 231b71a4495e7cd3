// The relay's settings, from command-line flags over environment variables
// over defaults.
#pragma once

#include <QHostAddress>
#include <QString>
#include <QStringList>

namespace relay {

struct RelayConfig {
    QHostAddress listenAddress = QHostAddress::LocalHost; // TESSIVO_RELAY_LISTEN
    quint16 port = 8080;                                  // TESSIVO_RELAY_PORT; 0 picks a free port
    QString dataDir = QStringLiteral("relay-data");       // TESSIVO_RELAY_DATA_DIR
    QString databaseUrl;                                  // TESSIVO_RELAY_DATABASE_URL; default sqlite in dataDir
    QString mondayApiUrl = QStringLiteral("https://api.monday.com/v2");       // TESSIVO_RELAY_MONDAY_API_URL
    QString mondayFileUrl = QStringLiteral("https://api.monday.com/v2/file"); // TESSIVO_RELAY_MONDAY_FILE_URL
    qint64 maxBodyBytes = 50 * 1024 * 1024;  // TESSIVO_RELAY_MAX_BODY_BYTES
    int maxHeaderBytes = 16 * 1024;          // TESSIVO_RELAY_MAX_HEADER_BYTES
    int maxItemNameLength = 0;               // TESSIVO_RELAY_MAX_ITEM_NAME (characters; 0: the body limit only)
    int clientRatePerMinute = 600;           // TESSIVO_RELAY_CLIENT_RATE (0: no limit)
    int clientBurst = 120;                   // TESSIVO_RELAY_CLIENT_BURST
    int productRatePerMinute = 120;          // TESSIVO_RELAY_PRODUCT_RATE (0: no limit)
    int productBurst = 30;                   // TESSIVO_RELAY_PRODUCT_BURST
    int upstreamTimeoutMs = 20000;           // TESSIVO_RELAY_UPSTREAM_TIMEOUT_MS
    int requestTimeoutMs = 30000;            // TESSIVO_RELAY_REQUEST_TIMEOUT_MS (a whole request must arrive within it)
    int idleTimeoutMs = 60000;               // TESSIVO_RELAY_IDLE_TIMEOUT_MS (keep-alive connections)
    int pairingWindowSeconds = 120;          // TESSIVO_RELAY_PAIRING_WINDOW_S
    int shutdownGraceMs = 30000;             // TESSIVO_RELAY_SHUTDOWN_GRACE_MS
    bool trustForwardedFor = false;          // TESSIVO_RELAY_TRUST_FORWARDED_FOR=1 (behind a reverse proxy)

    /// The database URL in force: databaseUrl, else sqlite in dataDir.
    QString effectiveDatabaseUrl() const;

    /// Reads the environment, then `arguments` (flags such as --port 8080 or
    /// --port=8080). Unknown flags and bad values fill `errors`; the flags
    /// that were not settings are left in `rest`.
    static RelayConfig fromEnvironmentAndArguments(const QStringList &arguments,
                                                   QStringList *rest, QStringList *errors);
    /// The text of --help for the settings.
    static QString usage();
};

} // namespace relay
