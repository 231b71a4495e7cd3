// The device the kit runs on: idiom, system name and version, hardware
// identifier.
#pragma once

#include "tessivo_export.h"

#include <QString>

#include <array>

namespace tessivo {

enum class UserInterfaceIdiom { unspecified = -1, phone = 0, pad = 1 };

class TESSIVO_EXPORT Device
{
public:
    /// Desktops and tablets are large screens: the pad idiom.
    static UserInterfaceIdiom userInterfaceIdiom();
    /// Lets tests (and hosts that run on small screens) pick the idiom.
    static void setUserInterfaceIdiom(UserInterfaceIdiom idiom);

    /// The system's name ("Debian", "Ubuntu", "Windows", "macOS", ...).
    static QString systemName();
    /// The system's version ("12").
    static QString systemVersion();
    /// The device's name (the host name).
    static QString name();

    /// The `machine` field of uname(2): 256 signed bytes, zero-filled.
    using MachineField = std::array<signed char, 256>;
    static MachineField unameMachine();
};

} // namespace tessivo
