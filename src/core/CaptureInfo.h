// The report record and the note types.
#pragma once

#include "tessivo_export.h"

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace tessivo {

/// What a report says, filled by the editors from the note panel.
struct CaptureInfo {
    std::optional<QUrl> videoFileURL;
    QString note;
    QString author;
    QStringList selectedNoteTypes;
};

/// The fixed, ordered note types; editors select the first by default.
TESSIVO_EXPORT const QStringList &noteTypes();

} // namespace tessivo
