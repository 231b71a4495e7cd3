#include "capture/FileUtil.h"

#include "platform/Console.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <filesystem>

namespace tessivo {
namespace {

const QString kFolderName = QStringLiteral("/FHWCaptures");

} // namespace

QStringList FileUtil::documentsDirectories()
{
    QStringList directories = QStandardPaths::standardLocations(QStandardPaths::AppDataLocation);
    if (!directories.isEmpty())
        QDir().mkpath(directories.first());
    return directories;
}

void FileUtil::ensureCaptureFolder()
{
    const QStringList directories = documentsDirectories();
    if (directories.isEmpty())
        return;
    const QString folder = directories.first() + kFolderName;
    if (QFileInfo::exists(folder))
        return;
    consolePrint(QStringLiteral("Creating capture directory..."));
    std::error_code error;
    std::filesystem::create_directory(std::filesystem::path(folder.toStdString()), error);
    if (error) {
        consolePrint(QStringLiteral("Error creating capture folder in documents dir: ")
                     + QString::fromStdString(error.message()));
    }
}

QString FileUtil::capturePath(const QString &baseName)
{
    ensureCaptureFolder();
    const QStringList directories = documentsDirectories();
    if (directories.isEmpty())
        qFatal("Tessivo: the application has no data folder for its capture files");
    return directories.first() + kFolderName + QLatin1Char('/') + baseName
           + QStringLiteral(".mov");
}

void FileUtil::deleteCaptureFile(const QUrl &url)
{
    const QString path = url.toLocalFile();
    if (path.isEmpty() || !QFileInfo::exists(path))
        return;
    QFile file(path);
    if (!file.remove())
        consolePrint(QStringLiteral("Error deleting capture file: ") + file.errorString());
}

} // namespace tessivo
