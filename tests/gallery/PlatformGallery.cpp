#include "Gallery.h"

#include "core/KitAlerts.h"
#include "platform/AlertController.h"
#include "platform/ViewController.h"

#include <QLineEdit>

namespace tessivo::gallery {
namespace {

QWidget *withAlert(QSize size, Appearance appearance, AlertController *alert)
{
    QWidget *window = hostWindow(size, appearance);
    window->resize(size);
    window->show();
    ViewController *root = ViewController::rootOf(window);
    anchorToCentre(alert, root);
    root->present(alert, false);
    return window;
}

const bool alertEntry = add({QStringLiteral("AlertController-alert"), QSize(390, 500),
                             [](Appearance appearance) {
                                 auto *alert = new AlertController(
                                     QStringLiteral("Add your name"),
                                     QStringLiteral("So that the team knows who sent this report."),
                                     AlertControllerStyle::alert);
                                 alert->addTextField([](QLineEdit *field) {
                                     field->setPlaceholderText(QStringLiteral("GoldenFish"));
                                 });
                                 alert->addAction(AlertAction(QStringLiteral("Cancel"), AlertActionStyle::cancel));
                                 alert->addAction(AlertAction(QStringLiteral("Send"), AlertActionStyle::default_));
                                 return withAlert(QSize(390, 500), appearance, alert);
                             }});

const bool sheetEntry = add({QStringLiteral("AlertController-actionSheet"), QSize(390, 500),
                             [](Appearance appearance) {
                                 auto *sheet = new AlertController(
                                     std::nullopt, std::nullopt, AlertControllerStyle::actionSheet);
                                 sheet->addAction(AlertAction(QStringLiteral("Save to Photos"), AlertActionStyle::default_));
                                 sheet->addAction(AlertAction(QStringLiteral("Delete Screenshot"), AlertActionStyle::destructive));
                                 sheet->addAction(AlertAction(QStringLiteral("Cancel"), AlertActionStyle::cancel));
                                 return withAlert(QSize(390, 500), appearance, sheet);
                             }});

} // namespace
} // namespace tessivo::gallery
