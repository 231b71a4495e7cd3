// Device and app metadata for reports. Stateless lookups, cheap enough to
// call on every layout; nothing is cached.
#pragma once

#include "platform/Device.h"
#include "tessivo_export.h"

#include <QImage>
#include <QString>

#include <optional>

namespace tessivo::metadata {

/// The hardware identifier from uname's machine field: every non-zero byte
/// in order (zeros are skipped, not a stop). A negative byte is fatal.
TESSIVO_EXPORT QString hardwareIdentifier(const Device::MachineField &machine);
/// The marketing name for a hardware identifier; unknown ones unchanged.
TESSIVO_EXPORT QString modelName(const QString &identifier);
/// modelName(hardwareIdentifier(uname machine)).
TESSIVO_EXPORT QString deviceModelName();

/// The system version alone ("12").
TESSIVO_EXPORT QString systemVersion();
/// The system's name and version ("Debian 12").
TESSIVO_EXPORT QString osVersionText();
/// Short version immediately followed by the build in parentheses:
/// "2.3(41)". Missing keys are fatal.
TESSIVO_EXPORT QString appVersionText();
/// The kit's own short version. A missing kit bundle or key is fatal.
TESSIVO_EXPORT QString frameworkVersion();
/// CFBundleDisplayName, else CFBundleName, else nothing.
TESSIVO_EXPORT std::optional<QString> appDisplayName();
/// The last icon of CFBundleIcons/CFBundlePrimaryIcon/CFBundleIconFiles,
/// loaded from the host's resources; nothing when any step finds nothing.
TESSIVO_EXPORT std::optional<QImage> appIconImage();

} // namespace tessivo::metadata
