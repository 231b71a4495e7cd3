// The bytes of an uploaded file, made again from its seed and size when the
// database is checked: no copy of what was sent has to be kept.
#pragma once

#include <QByteArray>

namespace soak {

QByteArray payload(quint64 seed, qint64 size);

} // namespace soak
