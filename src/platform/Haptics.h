// Haptic feedback: impacts and notifications. Desktops have no generators,
// so nothing is played there; every request is still announced through
// the signals, which is what tests observe.
#pragma once

#include "tessivo_export.h"

#include <QObject>

namespace tessivo {

enum class HapticImpactStyle { light, medium, heavy };
enum class HapticNotificationType { success, warning, error };

class TESSIVO_EXPORT Haptics : public QObject
{
    Q_OBJECT
public:
    static Haptics &shared();

    /// Whether the device has feedback generators (never on desktop).
    bool hasGenerators() const { return false; }

    void impactOccurred(HapticImpactStyle style);
    void notificationOccurred(HapticNotificationType type);

Q_SIGNALS:
    void impactRequested(tessivo::HapticImpactStyle style);
    void notificationRequested(tessivo::HapticNotificationType type);

private:
    Haptics() = default;
};

} // namespace tessivo
