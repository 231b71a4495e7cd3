#include "Tessivo/Tessivo.h"

extern "C" {
TESSIVO_EXPORT extern const double TessivoVersionNumber = 1.0;
// The array keeps the line feed and the terminating zero.
TESSIVO_EXPORT extern const unsigned char TessivoVersionString[] =
    "@(#)PROGRAM:Tessivo  PROJECT:Tessivo-1\n";
}
