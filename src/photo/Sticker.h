// A sticker of the picker: its image (by name in the kit's bundle), its
// caption (which may break over two lines), and, for the smart letter, the
// letter it shows.
#pragma once

#include "tessivo_export.h"

#include <QList>
#include <QString>

#include <optional>

namespace tessivo {

struct TESSIVO_EXPORT Sticker {
    QString imageName;
    QString label;
    bool isSmartLetter = false;
    std::optional<QString> smartLetter;

    /// The picker's stickers, in order, the smart letter first.
    static QList<Sticker> catalogue();
    /// The smart-letter entry, without a letter.
    static Sticker smartLetterSticker();

    bool operator==(const Sticker &) const = default;
};

} // namespace tessivo
