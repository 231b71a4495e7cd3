// Saves a report to the photo library after asking for access.
#pragma once

#include "tessivo_export.h"

#include <QImage>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

namespace tessivo {

class TESSIVO_EXPORT PhotosSaver
{
public:
    PhotosSaver() = delete;

    /// Asks for access, then saves the image (or, without one, the file).
    /// `done` runs on the GUI thread, while `context` lives, with
    /// "<kind> saved to Photos library!" or "<kind> not saved". Without
    /// access it never runs: a refusal or an undetermined status is written
    /// to the console, and limited access does nothing.
    static void save(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                     const QString &kind, QObject *context, std::function<void(QString message)> done);
};

} // namespace tessivo
