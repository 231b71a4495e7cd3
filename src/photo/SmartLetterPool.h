// The free smart letters: a string of characters, lower case until used.
// A letter handed back comes back as shown (upper case) and the pool is
// sorted by character code, so returned letters sort before the unused
// lower-case ones and are given out again first.
#pragma once

#include "tessivo_export.h"

#include <QString>

#include <optional>

namespace tessivo {

class TESSIVO_EXPORT SmartLetterPool
{
public:
    static constexpr auto kAlphabet = "abcdefghijklmnopqrstuvwxyz";

    QString characters() const { return m_characters; }
    bool isEmpty() const { return m_characters.isEmpty(); }
    int count() const { return static_cast<int>(m_characters.size()); }
    /// The letter the next smart sticker shows (upper case), none when
    /// the pool is empty.
    std::optional<QString> nextLetter() const;
    /// Drops the first letter; false when there was none.
    bool take();
    /// Appends a letter and sorts the pool by character code.
    void give(const QString &letter);

private:
    QString m_characters = QString::fromLatin1(kAlphabet);
};

} // namespace tessivo
