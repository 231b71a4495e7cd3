// The photo library: the user's Pictures and Videos folders. Desktop systems
// grant access; the statuses stay for other platforms and for tests.
#pragma once

#include "tessivo_export.h"

#include <QImage>
#include <QString>

#include <functional>
#include <optional>

namespace tessivo {

/// Authorisation statuses with their raw values.
enum class PhotoAuthorizationStatus { notDetermined = 0, restricted = 1, denied = 2, authorized = 3, limited = 4 };

class TESSIVO_EXPORT PhotoLibrary
{
public:
    static PhotoLibrary &shared();

    /// Asks for access; the handler runs on a worker thread with the status.
    void requestAuthorization(std::function<void(PhotoAuthorizationStatus)> handler);
    PhotoAuthorizationStatus authorizationStatus() const { return m_status; }
    /// Tests (and platforms that ask the user) set the status here.
    void setAuthorizationStatus(PhotoAuthorizationStatus status) { m_status = status; }

    /// Saves an image (PNG) or a video file into the library, off the GUI
    /// thread. The completion runs on a worker thread with the saved path,
    /// or nothing and an error text.
    void saveImage(const QImage &image,
                   std::function<void(std::optional<QString> path, QString error)> completion);
    void saveVideo(const QString &videoPath,
                   std::function<void(std::optional<QString> path, QString error)> completion);

    /// Where images and videos go: the Pictures and Movies folders, each
    /// with a "Tessivo" folder; TESSIVO_PHOTO_LIBRARY_DIR puts both in one
    /// folder instead (tests, kiosks).
    static QString imagesFolder();
    static QString videosFolder();

private:
    PhotoLibrary() = default;
    PhotoAuthorizationStatus m_status = PhotoAuthorizationStatus::authorized;
};

} // namespace tessivo
