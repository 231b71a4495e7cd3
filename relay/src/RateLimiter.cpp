#include "RateLimiter.h"

#include <cmath>

namespace relay {

RateLimiter::RateLimiter(int perMinute, int burst)
    : m_perMs(perMinute / 60000.0), m_burst(std::max(1, burst))
{
    m_clock.start();
}

void RateLimiter::refill(Bucket &b, qint64 now) const
{
    b.tokens = std::min(m_burst, b.tokens + double(now - b.updatedMs) * m_perMs);
    b.updatedMs = now;
}

void RateLimiter::prune(qint64 now)
{
    // Forget the buckets that are full again, at most once a minute.
    if (now - m_lastPruneMs < 60000 && m_buckets.size() < 100000)
        return;
    m_lastPruneMs = now;
    for (auto it = m_buckets.begin(); it != m_buckets.end();) {
        refill(it.value(), now);
        if (it.value().tokens >= m_burst)
            it = m_buckets.erase(it);
        else
            ++it;
    }
}

bool RateLimiter::allow(const QString &key)
{
    if (m_perMs <= 0)
        return true;
    const qint64 now = m_clock.elapsed();
    prune(now);
    auto it = m_buckets.find(key);
    if (it == m_buckets.end())
        it = m_buckets.insert(key, Bucket{m_burst, now});
    refill(it.value(), now);
    if (it.value().tokens < 1.0)
        return false;
    it.value().tokens -= 1.0;
    return true;
}

int RateLimiter::retryAfterSeconds(const QString &key) const
{
    if (m_perMs <= 0)
        return 0;
    const auto it = m_buckets.constFind(key);
    if (it == m_buckets.constEnd())
        return 0;
    const double missing = 1.0 - it.value().tokens;
    return std::max(1, int(std::ceil(missing / m_perMs / 1000.0)));
}

} // namespace relay
