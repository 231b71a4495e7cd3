// The console: single plain lines on standard output. No log levels.
#pragma once

#include "tessivo_export.h"

#include <QString>

#include <functional>

namespace tessivo {

/// Writes `line` and a line feed to standard output, whole, from any thread.
TESSIVO_EXPORT void consolePrint(const QString &line);

/// Observes every console line (tests read the kit's output this way).
/// Returns a token for removeConsoleObserver. Observers run on the thread
/// that printed, after the line was written.
TESSIVO_EXPORT int addConsoleObserver(std::function<void(const QString &)> observer);
TESSIVO_EXPORT void removeConsoleObserver(int token);

} // namespace tessivo
