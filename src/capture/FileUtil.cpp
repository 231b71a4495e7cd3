#include "capture/FileUtil.h"

#include "platform/Console.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QMutex>
#include <QRegularExpression>
#include <QStandardPaths>

#include <filesystem>
#include <memory>
#include <set>

namespace tessivo {
namespace {

const QString kFolderName = QStringLiteral("FHWCaptures");
/// Beyond this many live copies of one host, the last ones share the
/// first folder as if there were no locks.
constexpr int kMaxFolders = 100;

/// The capture folder this process owns, and the lock that says so to
/// other processes. Released (the lock file removed) when the process ends.
struct FolderClaim {
    QString documents;
    QString folder;
    std::unique_ptr<QLockFile> lock;
};

QMutex &claimMutex()
{
    static QMutex mutex;
    return mutex;
}

FolderClaim &processClaim()
{
    static FolderClaim claim;
    return claim;
}

QString folderName(int number)
{
    return number == 0 ? kFolderName : kFolderName + QLatin1Char('-') + QString::number(number);
}

/// The lock of `folder` for this process, or null with the reason.
std::unique_ptr<QLockFile> tryLock(const QString &folder, QLockFile::LockError *error)
{
    auto lock = std::make_unique<QLockFile>(folder + QStringLiteral(".lock"));
    // Only the death of its process frees a lock, however old it is.
    lock->setStaleLockTime(0);
    if (lock->tryLock(0))
        return lock;
    *error = lock->error();
    return nullptr;
}

/// Removes what a dead process left in its folder, keeping the folder.
void removeContents(const QString &folder)
{
    const QFileInfoList entries =
        QDir(folder).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir() && !entry.isSymLink())
            QDir(entry.absoluteFilePath()).removeRecursively();
        else
            QFile::remove(entry.absoluteFilePath());
    }
}

/// Removes the numbered folders (and locks) of processes that are gone.
/// A folder is removed while its lock is held, so no process can claim it
/// meanwhile.
void removeDeadFolders(const QString &documents)
{
    static const QRegularExpression pattern(
        QRegularExpression::anchoredPattern(kFolderName + QStringLiteral("-([1-9][0-9]*)(\\.lock)?")));
    std::set<int> numbers;
    for (const QString &name : QDir(documents).entryList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        const QRegularExpressionMatch match = pattern.match(name);
        if (match.hasMatch())
            numbers.insert(match.captured(1).toInt());
    }
    for (int number : numbers) {
        const QString folder = documents + QLatin1Char('/') + folderName(number);
        QLockFile::LockError error = QLockFile::NoError;
        if (auto lock = tryLock(folder, &error)) {
            QDir(folder).removeRecursively();
            QFile::remove(folder);
            lock->unlock();
        }
    }
}

/// Picks the folder of this process: "FHWCaptures" unless another live
/// process holds it, else the first free "FHWCaptures-<n>".
void claimFolder(FolderClaim &claim, const QString &documents)
{
    claim.lock.reset();
    claim.documents = documents;
    claim.folder = documents + QLatin1Char('/') + kFolderName;
    removeDeadFolders(documents);
    for (int number = 0; number < kMaxFolders; ++number) {
        const QString folder = documents + QLatin1Char('/') + folderName(number);
        const bool leftBehind = QFileInfo::exists(folder + QStringLiteral(".lock"));
        QLockFile::LockError error = QLockFile::NoError;
        if (auto lock = tryLock(folder, &error)) {
            // A lock that was still there belonged to a process that died.
            if (leftBehind && number == 0)
                removeContents(folder);
            claim.folder = folder;
            claim.lock = std::move(lock);
            return;
        }
        // A lock that cannot be written: the folder is used as it is, and
        // its file operations report what is wrong.
        if (error != QLockFile::LockFailedError) {
            claim.folder = folder;
            return;
        }
    }
}

} // namespace

QStringList FileUtil::documentsDirectories()
{
    QStringList directories = QStandardPaths::standardLocations(QStandardPaths::AppDataLocation);
    if (!directories.isEmpty())
        QDir().mkpath(directories.first());
    return directories;
}

QString FileUtil::captureFolder()
{
    const QStringList directories = documentsDirectories();
    if (directories.isEmpty())
        return {};
    QMutexLocker locker(&claimMutex());
    FolderClaim &claim = processClaim();
    if (claim.documents != directories.first())
        claimFolder(claim, directories.first());
    return claim.folder;
}

void FileUtil::ensureCaptureFolder()
{
    const QString folder = captureFolder();
    if (folder.isEmpty())
        return;
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
    const QString folder = captureFolder();
    if (folder.isEmpty())
        qFatal("Tessivo: the application has no data folder for its capture files");
    return folder + QLatin1Char('/') + baseName + QStringLiteral(".mov");
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
