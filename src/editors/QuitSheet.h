// The sheet that confirms leaving an editor: "Save to Photos", "Delete
// <kind>" and "Cancel", under "Are you sure you want to quit?".
#pragma once

#include "tessivo_export.h"

#include <QString>

#include <functional>

namespace tessivo {

class AlertController;

class TESSIVO_EXPORT QuitSheet
{
public:
    QuitSheet() = delete;

    /// A new, parentless action sheet; each handler runs once the sheet is
    /// gone.
    static AlertController *make(const QString &kind, std::function<void()> saveToPhotos,
                                 std::function<void()> deleteReport, std::function<void()> cancel);
};

} // namespace tessivo
