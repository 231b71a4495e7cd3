#include "platform/Haptics.h"

namespace tessivo {

Haptics &Haptics::shared()
{
    static auto *haptics = new Haptics; // process lifetime
    return *haptics;
}

void Haptics::impactOccurred(HapticImpactStyle style)
{
    // No generator to play on: the request is only announced.
    Q_EMIT impactRequested(style);
}

void Haptics::notificationOccurred(HapticNotificationType type)
{
    Q_EMIT notificationRequested(type);
}

} // namespace tessivo
