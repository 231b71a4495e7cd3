#include "editors/PhotosSaver.h"

#include "platform/Console.h"
#include "platform/Dispatch.h"
#include "platform/PhotoLibrary.h"

#include <QPointer>

namespace tessivo {

void PhotosSaver::save(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                       const QString &kind, QObject *context, std::function<void(QString)> done)
{
    QPointer<QObject> guard(context);
    auto report = [guard, kind, done](std::optional<QString> path, const QString &error) {
        if (!path)
            consolePrint(error);
        dispatchMain([guard, kind, done, saved = path.has_value()] {
            if (guard)
                done(kind + (saved ? QStringLiteral(" saved to Photos library!") : QStringLiteral(" not saved")));
        });
    };
    PhotoLibrary::shared().requestAuthorization([image, fileURL, report](PhotoAuthorizationStatus status) {
        switch (status) {
        case PhotoAuthorizationStatus::restricted:
        case PhotoAuthorizationStatus::denied:
            consolePrint(QStringLiteral("Not allowed to access Photos library"));
            return;
        case PhotoAuthorizationStatus::notDetermined:
            consolePrint(QStringLiteral("Not determined yet"));
            return;
        case PhotoAuthorizationStatus::authorized:
            if (image)
                PhotoLibrary::shared().saveImage(*image, report);
            else
                PhotoLibrary::shared().saveVideo(fileURL ? fileURL->toLocalFile() : QString(), report);
            return;
        case PhotoAuthorizationStatus::limited:
            return;
        }
    });
}

} // namespace tessivo
