// The texts a report's metadata card shows and offers to the editors for
// the report's body.
#pragma once

#include "core/CaptureInfo.h"
#include "metadata/AttributedText.h"
#include "platform/Appearance.h"
#include "tessivo_export.h"

#include <QDateTime>
#include <QFont>
#include <QString>

namespace tessivo::metadata {

/// "yyyy-MM-dd HH:mm", as the card shows the time.
TESSIVO_EXPORT QString formattedDate(const QDateTime &time);

/// The device's name, ", " and the formatted time.
TESSIVO_EXPORT QString userInfoText(const QDateTime &time);

/// "App version: " in `regular`, then appVersionText() in its bold form.
TESSIVO_EXPORT AttributedText appVersionAttributedText(const QFont &regular);

/// The author and ": " in the bold system font of 15 px, then the note in
/// `regular`. Without an author, the anonymous name kept in the user
/// defaults stands in bold with no separator (or nothing when there is
/// none).
TESSIVO_EXPORT AttributedText noteAttributedText(const CaptureInfo &info, const QFont &regular);

/// "Device: " and the bold model name, " | OS version: " and the bold
/// system version, all in the named colour "primaryLabelColor".
TESSIVO_EXPORT AttributedText deviceLineText(const QFont &regular, Appearance appearance);

/// The report's body: app name, app version line, a blank line, the note,
/// a blank line, the device name and time, the device line and
/// "Powered by Tessiov", one line each.
TESSIVO_EXPORT QString reportSummary(const CaptureInfo &info, const QDateTime &time);

} // namespace tessivo::metadata
