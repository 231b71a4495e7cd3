// The folder of the kit's capture files, inside the host's own data folder,
// one per running process, and the few file operations the capture code
// needs.
#pragma once

#include "tessivo_export.h"

#include <QString>
#include <QStringList>
#include <QUrl>

namespace tessivo {

class TESSIVO_EXPORT FileUtil
{
public:
    /// The host's documents directories, most specific first: its own data
    /// folder (created when missing, as an app's documents folder always
    /// exists).
    static QStringList documentsDirectories();
    /// The folder of this process's capture files: "<documents>/FHWCaptures"
    /// unless another live process holds its lock ("FHWCaptures.lock"
    /// beside it), else the first free "FHWCaptures-<n>". Chosen once per
    /// documents directory and locked until the process ends; folders of
    /// processes that died are cleared then. Empty without a documents
    /// directory.
    static QString captureFolder();
    /// Creates the capture folder when nothing is there yet, printing
    /// "Creating capture directory...". Failures are printed, not returned.
    static void ensureCaptureFolder();
    /// "<capture folder>/<baseName>.mov", after ensuring the folder.
    /// Without a documents directory this is a programming error (qFatal).
    static QString capturePath(const QString &baseName);
    /// Removes the file at `url` if there is one; a failure is printed.
    static void deleteCaptureFile(const QUrl &url);
};

} // namespace tessivo
