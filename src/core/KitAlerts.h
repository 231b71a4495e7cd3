// Alerts the kit shows: presented animated from the top-most controller,
// anchored at the presenter's centre with no arrow on large screens.
#pragma once

#include "tessivo_export.h"

#include <QString>

namespace tessivo {

class AlertController;
class ViewController;

/// Presents `alert` from the top-most controller. With no presenter nothing
/// is shown and the alert is deleted. Returns the presenter, if any.
TESSIVO_EXPORT ViewController *presentKitAlert(AlertController *alert);

/// An alert with a title, a message and one "Ok" button.
TESSIVO_EXPORT void showAlert(const QString &title, const QString &message);

/// Anchors an alert or sheet to the centre of `presenter` with a zero-sized
/// source rectangle and no arrow (large screens only).
TESSIVO_EXPORT void anchorToCentre(AlertController *alert, ViewController *presenter);

} // namespace tessivo
