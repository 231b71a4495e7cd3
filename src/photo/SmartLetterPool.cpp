#include "photo/SmartLetterPool.h"

#include <algorithm>

namespace tessivo {

std::optional<QString> SmartLetterPool::nextLetter() const
{
    if (m_characters.isEmpty())
        return std::nullopt;
    return QString(m_characters.front()).toUpper();
}

bool SmartLetterPool::take()
{
    if (m_characters.isEmpty())
        return false;
    m_characters.remove(0, 1);
    return true;
}

void SmartLetterPool::give(const QString &letter)
{
    m_characters.append(letter);
    std::sort(m_characters.begin(), m_characters.end(),
              [](QChar a, QChar b) { return a.unicode() < b.unicode(); });
}

} // namespace tessivo
