// The main queue: work handed to the GUI thread, now or after a delay.
#pragma once

#include "tessivo_export.h"

#include <functional>

namespace tessivo {

/// Runs `work` on the GUI thread at its next turn of the event loop.
/// Safe to call from any thread; never runs `work` synchronously.
TESSIVO_EXPORT void dispatchMain(std::function<void()> work);

/// Runs `work` on the GUI thread after `seconds` (fractions allowed).
TESSIVO_EXPORT void dispatchMainAfter(double seconds, std::function<void()> work);

/// True when called on the GUI thread.
TESSIVO_EXPORT bool isMainThread();

} // namespace tessivo
