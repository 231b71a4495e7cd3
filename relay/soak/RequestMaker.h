// Builds the soak's requests byte for byte: the kit's three calls as the kit
// sends them, and the malformed, oversized and incomplete requests a relay on
// the internet receives as well.
#pragma once

#include "SoakRequest.h"

#include <QRandomGenerator>
#include <QStringList>

namespace soak {

/// The relay's limits the requests are made against (the relay reads the
/// same TESSIVO_RELAY_* variables).
struct RelayLimits {
    qint64 maxBodyBytes = 50 * 1024 * 1024;
    int maxHeaderBytes = 16 * 1024;
    int maxItemName = 0; // characters; 0: no limit but the body's, as in the relay
    int clientRatePerMinute = 600;
    int clientBurst = 120;
    int idleTimeoutMs = 60000;
    int requestTimeoutMs = 30000;

    static RelayLimits fromEnvironment();
};

struct SoakProduct {
    QString bundleId;
    QString id;
};

class RequestMaker
{
public:
    RequestMaker(QByteArray host, QList<SoakProduct> products, RelayLimits limits, quint64 seed);

    SoakRequest lookupHit(int product, const QString &address, Wire wire);
    SoakRequest lookupMiss(const QString &address, Wire wire);
    SoakRequest health(Wire wire);
    SoakRequest addItem(int product, const QString &address, Wire wire);
    SoakRequest upload(int product, const QString &address, Wire wire, const QString &itemId, qint64 size);
    SoakRequest orphanUpload(int product, const QString &address, Wire wire);
    SoakRequest badItem(const QString &address, Wire wire);
    SoakRequest badUpload(const QString &address, Wire wire);
    SoakRequest oversized(const QString &address);
    /// A malformed request line, length, method or path, a chunked body or
    /// headers over the limit (`variant` 0 to 6, or at random), with a body
    /// of `bodySize` bytes where there is one (or a random size).
    SoakRequest badProtocol(const QString &address, int variant = -1, qint64 bodySize = -1);
    /// A refusal from the head while megabytes of body are still coming.
    SoakRequest refusedStream(const QString &address);
    SoakRequest slowClient(const QString &address);
    SoakRequest abandoned(const QString &address);

    QRandomGenerator &random() { return m_random; }
    const RelayLimits &limits() const { return m_limits; }

    /// How the relay writes an address it takes from X-Forwarded-For.
    static QString relayForm(const QString &address);

private:
    QByteArray head(const QByteArray &method, const QByteArray &target, Wire wire, const QString &address,
                    qint64 bodyLength, const QList<QByteArray> &extra = {});
    SoakRequest make(Kind kind, QString what, Wire wire, QList<int> expected, const QString &address);
    QByteArray multipart(const QByteArray &boundary, const QByteArray &productId, const QByteArray &title,
                         const QByteArray &fileName, const QByteArray &mime, const QByteArray &data);
    QString itemName();
    qint64 trailingBodySize();
    QByteArray randomHex(int bytes);

    QByteArray m_host;
    QList<SoakProduct> m_products;
    RelayLimits m_limits;
    QRandomGenerator m_random;
};

} // namespace soak
