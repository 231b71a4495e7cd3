#include "photo/Sticker.h"

namespace tessivo {

Sticker Sticker::smartLetterSticker()
{
    return {QStringLiteral("smart_letter"), QStringLiteral("Smart\nLetter"), true, std::nullopt};
}

QList<Sticker> Sticker::catalogue()
{
    auto plain = [](const char *image, const char *label) {
        return Sticker{QString::fromLatin1(image), QString::fromLatin1(label), false, std::nullopt};
    };
    return {
        smartLetterSticker(),
        plain("approved", "Approved"),
        plain("too_small", "Too\nSmall"),
        plain("too_big", "Too\nBig"),
        plain("wrong1", "Wrong"),
        plain("wrong2", "Wrong"),
        plain("remove", "Remove"),
        plain("arrow_left", "Arrow\nLeft"),
        plain("arrow_up", "Arrow\nUp"),
        plain("arrow_right", "Arrow\nRight"),
        plain("arrow_down", "Arrow\nDown"),
        plain("fire", "Fire"),
        plain("crash", "Crash"),
        plain("wtf", "WTF"),
        plain("tighten", "Tighten"),
        plain("padding", "Padding"),
    };
}

} // namespace tessivo
