// What every host window does with a motion: a shake opens a feedback
// session when shake is the kit's trigger gesture.
#pragma once

#include "platform/MotionSource.h"
#include "tessivo_export.h"

class QWidget;

namespace tessivo {

/// Runs the trigger procedure for a shake while the gesture is shake;
/// every other motion, and every shake while the gesture is fourFingers,
/// is ignored. The motion source calls this for every window.
TESSIVO_EXPORT void windowMotionEnded(QWidget *window, EventSubtype motion);

} // namespace tessivo
