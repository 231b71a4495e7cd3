// Tessivo: in-app feedback kit. Include this one header from the host app.
#pragma once

#include "tessivo_export.h"

extern "C" {
/// The kit's version as a number (1.0).
TESSIVO_EXPORT extern const double TessivoVersionNumber;
/// The kit's version string, as embedded in the binary.
TESSIVO_EXPORT extern const unsigned char TessivoVersionString[];
}

#include "core/CaptureInfo.h"
#include "core/Configs.h"
#include "core/ShareMethod.h"
#include "core/TessivoKit.h"
#include "core/WindowMotion.h"
