#include "editors/QuitSheet.h"

#include "platform/AlertController.h"

namespace tessivo {

AlertController *QuitSheet::make(const QString &kind, std::function<void()> saveToPhotos,
                                 std::function<void()> deleteReport, std::function<void()> cancel)
{
    auto *sheet = new AlertController(std::nullopt, QStringLiteral("Are you sure you want to quit?"),
                                      AlertControllerStyle::actionSheet);
    auto run = [](std::function<void()> handler) {
        return [handler = std::move(handler)](const AlertAction &) {
            if (handler)
                handler();
        };
    };
    sheet->addAction(AlertAction(QStringLiteral("Save to Photos"), AlertActionStyle::default_,
                                 run(std::move(saveToPhotos))));
    sheet->addAction(AlertAction(QStringLiteral("Delete ") + kind, AlertActionStyle::destructive,
                                 run(std::move(deleteReport))));
    sheet->addAction(AlertAction(QStringLiteral("Cancel"), AlertActionStyle::cancel, run(std::move(cancel))));
    return sheet;
}

} // namespace tessivo
