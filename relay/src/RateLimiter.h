// Token buckets by key (a client address, a product id): `burst` requests at
// once, refilled at `perMinute`. Per instance: with several instances behind
// a load balancer each one limits on its own.
#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QString>

namespace relay {

class RateLimiter
{
public:
    RateLimiter(int perMinute, int burst);

    /// Takes one token for `key`; false when the bucket is empty (answer
    /// 429). A limiter with perMinute 0 always allows.
    bool allow(const QString &key);
    /// Seconds until `key` has a token again (for Retry-After).
    int retryAfterSeconds(const QString &key) const;

private:
    struct Bucket {
        double tokens = 0;
        qint64 updatedMs = 0;
    };
    void refill(Bucket &b, qint64 now) const;
    void prune(qint64 now);

    double m_perMs;
    double m_burst;
    QElapsedTimer m_clock;
    QHash<QString, Bucket> m_buckets;
    qint64 m_lastPruneMs = 0;
};

} // namespace relay
