// The relay's log: one plain line per event on standard error, with a UTC
// time stamp. Callers never pass tokens, secrets or query strings.
#pragma once

#include <QString>

#include <functional>

namespace relay {

void logLine(const QString &line);
/// Observes every line (tests); nullptr removes the observer.
void setLogObserver(std::function<void(const QString &)> observer);

} // namespace relay
