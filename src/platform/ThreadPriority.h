// Background work (frame delivery, encoding) yields the CPU to the host's
// GUI thread when the two compete.
#pragma once

namespace tessivo {

/// Gives the calling thread, and the threads it creates from now on, a
/// lower scheduling priority. Does nothing where that is not supported.
void lowerCurrentThreadPriority();

} // namespace tessivo
