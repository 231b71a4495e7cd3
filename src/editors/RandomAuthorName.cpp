#include "editors/RandomAuthorName.h"

#include <QRandomGenerator>

using namespace Qt::Literals::StringLiterals;

namespace tessivo {

const QStringList &authorColors()
{
    static const QStringList colors = {
        u"Black"_s,  u"Grey"_s,   u"White"_s,   u"Magenta"_s, u"Purple"_s, u"Lavender"_s,
        u"Navy"_s,   u"Blue"_s,   u"Cyan"_s,    u"Teal"_s,    u"Green"_s,  u"Mint"_s,
        u"Lime"_s,   u"Olive"_s,  u"Yellow"_s,  u"Beige"_s,   u"Apricot"_s, u"Orange"_s,
        u"Brown"_s,  u"Pink"_s,   u"Red"_s,     u"Maroon"_s,
    };
    return colors;
}

const QStringList &authorAnimals()
{
    static const QStringList animals = {
        u"Dog"_s,        u"Squirrel"_s,  u"Cougar"_s,    u"Raven"_s,     u"Cat"_s,
        u"Alligator"_s,  u"Bear"_s,      u"Possum"_s,    u"Lion"_s,      u"Crocodile"_s,
        u"Koala"_s,      u"Tiger"_s,     u"Chipmunks"_s, u"Swan"_s,      u"Rabbit"_s,
        u"Whale"_s,      u"Goat"_s,      u"Duck"_s,      u"Octopus"_s,   u"Sheep"_s,
        u"Zebra"_s,      u"Anaconda"_s,  u"Cow"_s,       u"Goose"_s,     u"Eagle"_s,
        u"Pig"_s,        u"Donkey"_s,    u"Parrot"_s,    u"Panda"_s,     u"Elephant"_s,
        u"Skunk"_s,      u"Bull"_s,      u"Dolphin"_s,   u"Jaguar"_s,    u"Rooster"_s,
        u"Salamander"_s, u"Tortoise"_s,  u"Chicken"_s,   u"Raccoon"_s,   u"Hedgehog"_s,
        u"Piranha"_s,    u"Penguin"_s,   u"Iguana"_s,    u"Flamingo"_s,  u"Crow"_s,
        u"Jelly\uFB01sh"_s, u"Frog"_s,   u"Monkey"_s,    u"Giraffe"_s,   u"Sloth"_s,
        u"Pigeon"_s,     u"Lobster"_s,   u"Wolf"_s,      u"Sword\uFB01sh"_s, u"Deer"_s,
        u"Spider"_s,     u"Cat\uFB01sh"_s, u"Cobra"_s,   u"Hamster"_s,   u"Fox"_s,
        u"Chimpanzee"_s, u"Seal"_s,      u"Llama"_s,     u"Kangaroo"_s,  u"Leopard"_s,
        u"Camel"_s,      u"Cheetah"_s,   u"Gorilla"_s,   u"Crab"_s,      u"Hippo"_s,
        u"Mouse"_s,
    };
    return animals;
}

quint32 uniformIndex(quint32 bound, const RandomDraw &draw)
{
    Q_ASSERT(bound > 0);
    quint64 product = quint64(draw()) * bound;
    auto low = quint32(product);
    if (low < bound) {
        // 2^32 mod bound: the low words below it belong to a partial band.
        const quint32 threshold = quint32(0u - bound) % bound;
        while (low < threshold) {
            product = quint64(draw()) * bound;
            low = quint32(product);
        }
    }
    return quint32(product >> 32);
}

QString makeAuthorName(const QStringList &colors, const QStringList &animals, const RandomDraw &draw)
{
    if (colors.isEmpty() || animals.isEmpty())
        return QStringLiteral("PurpleLion");
    const QString &color = colors.at(uniformIndex(quint32(colors.size()), draw));
    const QString &animal = animals.at(uniformIndex(quint32(animals.size()), draw));
    return color + animal;
}

QString randomAuthorName()
{
    return makeAuthorName(authorColors(), authorAnimals(),
                          [] { return QRandomGenerator::system()->generate(); });
}

} // namespace tessivo
