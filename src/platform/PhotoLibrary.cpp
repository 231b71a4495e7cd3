#include "platform/PhotoLibrary.h"
#include "platform/PngEncoder.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThreadPool>

namespace tessivo {
namespace {

QString libraryFolder(QStandardPaths::StandardLocation location)
{
    const QByteArray override = qgetenv("TESSIVO_PHOTO_LIBRARY_DIR");
    if (!override.isEmpty())
        return QString::fromLocal8Bit(override);
    QString base = QStandardPaths::writableLocation(location);
    if (base.isEmpty())
        base = QDir::homePath();
    return QDir(base).filePath(QStringLiteral("Tessivo"));
}

// "Tessivo 2026-11-21 10.42.07.png", then " 2", " 3"... when taken.
QString freshPath(const QString &folder, const QString &extension)
{
    const QString stem = QStringLiteral("Tessivo ")
        + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH.mm.ss"));
    QString path = QDir(folder).filePath(stem + extension);
    for (int n = 2; QFileInfo::exists(path); ++n)
        path = QDir(folder).filePath(QStringLiteral("%1 %2%3").arg(stem).arg(n).arg(extension));
    return path;
}

} // namespace

PhotoLibrary &PhotoLibrary::shared()
{
    static PhotoLibrary library;
    return library;
}

QString PhotoLibrary::imagesFolder()
{
    return libraryFolder(QStandardPaths::PicturesLocation);
}

QString PhotoLibrary::videosFolder()
{
    return libraryFolder(QStandardPaths::MoviesLocation);
}

void PhotoLibrary::requestAuthorization(std::function<void(PhotoAuthorizationStatus)> handler)
{
    const PhotoAuthorizationStatus status = m_status;
    QThreadPool::globalInstance()->start([handler = std::move(handler), status] { handler(status); });
}

void PhotoLibrary::saveImage(const QImage &image,
                             std::function<void(std::optional<QString>, QString)> completion)
{
    QThreadPool::globalInstance()->start([image, completion = std::move(completion)] {
        const QString folder = imagesFolder();
        if (image.isNull())
            return completion(std::nullopt, QStringLiteral("There is no image to save."));
        if (!QDir().mkpath(folder))
            return completion(std::nullopt, QStringLiteral("Cannot create %1.").arg(folder));
        const QString path = freshPath(folder, QStringLiteral(".png"));
        if (!PngEncoder::write(image, path))
            return completion(std::nullopt, QStringLiteral("Cannot write %1.").arg(path));
        completion(path, QString());
    });
}

void PhotoLibrary::saveVideo(const QString &videoPath,
                             std::function<void(std::optional<QString>, QString)> completion)
{
    QThreadPool::globalInstance()->start([videoPath, completion = std::move(completion)] {
        const QString folder = videosFolder();
        if (!QFileInfo(videoPath).isFile())
            return completion(std::nullopt, QStringLiteral("There is no video at %1.").arg(videoPath));
        if (!QDir().mkpath(folder))
            return completion(std::nullopt, QStringLiteral("Cannot create %1.").arg(folder));
        const QString suffix = QFileInfo(videoPath).suffix();
        const QString path = freshPath(folder, suffix.isEmpty() ? QStringLiteral(".mov") : "." + suffix);
        if (!QFile::copy(videoPath, path)) {
            QFile::remove(path); // a partial copy is not a saved video
            return completion(std::nullopt, QStringLiteral("Cannot copy the video to %1.").arg(path));
        }
        completion(path, QString());
    });
}

} // namespace tessivo
