// Generated author names: a colour and an animal ("TealPenguin").
#pragma once

#include "tessivo_export.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace tessivo {

/// The 22 colours, in their fixed order.
TESSIVO_EXPORT const QStringList &authorColors();
/// The 71 animals, in their fixed order (the fish names use the "ﬁ"
/// ligature, U+FB01).
TESSIVO_EXPORT const QStringList &authorAnimals();

/// A source of uniformly distributed 32-bit values.
using RandomDraw = std::function<quint32()>;

/// A uniform index in [0, bound) for bound > 0: the high word of draw ×
/// bound, drawing again while the low word falls in the biased zone
/// (no modulo bias).
TESSIVO_EXPORT quint32 uniformIndex(quint32 bound, const RandomDraw &draw);

/// One colour then one animal, each picked uniformly, joined without a
/// separator; "PurpleLion" when either list is empty.
TESSIVO_EXPORT QString makeAuthorName(const QStringList &colors, const QStringList &animals,
                                      const RandomDraw &draw);

/// A name from the fixed lists and the system's random generator.
TESSIVO_EXPORT QString randomAuthorName();

} // namespace tessivo
