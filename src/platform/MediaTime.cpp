#include "platform/MediaTime.h"


#include <chrono>
#include <cmath>

namespace tessivo {

double MediaTime::seconds() const
{
    return isValid() ? static_cast<double>(value) / timescale : 0.0;
}

MediaTime MediaTime::convertScale(qint32 newTimescale) const
{
    if (!isValid() || newTimescale <= 0)
        return {};
    if (newTimescale == timescale)
        return *this;
    // value * new / old without overflowing for nanosecond clocks.
    const __int128 scaled = static_cast<__int128>(value) * newTimescale;
    const __int128 half = timescale / 2;
    const __int128 rounded = scaled >= 0 ? (scaled + half) / timescale : (scaled - half) / timescale;
    return {static_cast<qint64>(rounded), newTimescale};
}

MediaTime MediaTime::fromSeconds(double seconds, qint32 timescale)
{
    if (timescale <= 0 || !std::isfinite(seconds))
        return {};
    return {static_cast<qint64>(std::llround(seconds * timescale)), timescale};
}

MediaTime MediaTime::monotonicNow()
{
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    return {static_cast<qint64>(ns.count()), 1000000000};
}

MediaTime operator+(const MediaTime &a, const MediaTime &b)
{
    if (!a.isValid() || !b.isValid())
        return {};
    if (a.timescale == b.timescale)
        return {a.value + b.value, a.timescale};
    const qint32 scale = std::max(a.timescale, b.timescale);
    return {a.convertScale(scale).value + b.convertScale(scale).value, scale};
}

MediaTime operator-(const MediaTime &a, const MediaTime &b)
{
    if (!a.isValid() || !b.isValid())
        return {};
    if (a.timescale == b.timescale)
        return {a.value - b.value, a.timescale};
    const qint32 scale = std::max(a.timescale, b.timescale);
    return {a.convertScale(scale).value - b.convertScale(scale).value, scale};
}

bool operator==(const MediaTime &a, const MediaTime &b)
{
    return (a <=> b) == std::partial_ordering::equivalent;
}

std::partial_ordering operator<=>(const MediaTime &a, const MediaTime &b)
{
    if (!a.isValid() || !b.isValid())
        return a.isValid() == b.isValid() ? std::partial_ordering::equivalent
                                          : std::partial_ordering::unordered;
    const __int128 lhs = static_cast<__int128>(a.value) * b.timescale;
    const __int128 rhs = static_cast<__int128>(b.value) * a.timescale;
    if (lhs < rhs)
        return std::partial_ordering::less;
    if (lhs > rhs)
        return std::partial_ordering::greater;
    return std::partial_ordering::equivalent;
}

} // namespace tessivo
