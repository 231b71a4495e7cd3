// The relay's log: one plain line per event on standard error, with a UTC
// time stamp, written in small batches (within 20 ms). Callers never pass
// tokens, secrets or query strings.
#pragma once

#include <QString>

#include <functional>

namespace relay {

void logLine(const QString &line);
/// Writes the lines still gathered (before the program ends).
void flushLog();
/// Observes every line (tests); nullptr removes the observer.
void setLogObserver(std::function<void(const QString &)> observer);

} // namespace relay
