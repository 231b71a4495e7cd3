// A point or span on a media timeline: value / timescale seconds.
#pragma once

#include "tessivo_export.h"

#include <QtGlobal>

#include <compare>

namespace tessivo {

struct TESSIVO_EXPORT MediaTime {
    qint64 value = 0;
    qint32 timescale = 0; // 0 marks an invalid time

    constexpr bool isValid() const { return timescale > 0; }
    double seconds() const;
    /// The same instant on another timescale, rounded to the nearest tick.
    MediaTime convertScale(qint32 newTimescale) const;

    static MediaTime fromSeconds(double seconds, qint32 timescale);
    /// Now on the process's monotonic clock, in nanoseconds.
    static MediaTime monotonicNow();

    friend MediaTime operator+(const MediaTime &a, const MediaTime &b);
    friend MediaTime operator-(const MediaTime &a, const MediaTime &b);
    friend bool operator==(const MediaTime &a, const MediaTime &b);
    friend std::partial_ordering operator<=>(const MediaTime &a, const MediaTime &b);
};

} // namespace tessivo
