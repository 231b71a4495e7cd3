// An error of the media layer (recorder, writer): a domain, a numeric code
// and a sentence for people.
#pragma once

#include "tessivo_export.h"

#include <QString>

namespace tessivo {

struct TESSIVO_EXPORT MediaError {
    QString domain;
    int code = 0;
    QString localizedDescription;
};

} // namespace tessivo
