#include "Payload.h"

#include <cstring>

namespace soak {

QByteArray payload(quint64 seed, qint64 size)
{
    // splitmix64: cheap, and every byte depends on the seed, so a file
    // stored under the wrong id or cut short does not compare equal.
    QByteArray bytes(size, Qt::Uninitialized);
    quint64 state = seed;
    for (qint64 i = 0; i < size; i += 8) {
        state += 0x9e3779b97f4a7c15ULL;
        quint64 z = state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        z ^= z >> 31;
        std::memcpy(bytes.data() + i, &z, size_t(std::min<qint64>(8, size - i)));
    }
    return bytes;
}

} // namespace soak
