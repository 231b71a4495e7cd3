// Unguessable identifiers and secrets from the system's random source.
#pragma once

#include <QString>

namespace relay {

/// `bytes` random bytes (at least 16 for anything a client must not guess)
/// as lower-case hexadecimal text.
QString randomHex(int bytes);

} // namespace relay
