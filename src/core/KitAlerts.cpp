#include "core/KitAlerts.h"

#include "core/TopMost.h"
#include "platform/AlertController.h"
#include "platform/Device.h"

namespace tessivo {

void anchorToCentre(AlertController *alert, ViewController *presenter)
{
    if (Device::userInterfaceIdiom() != UserInterfaceIdiom::pad || !presenter)
        return;
    if (PopoverPresentation *popover = alert->popoverPresentationController()) {
        popover->sourceView = presenter;
        popover->sourceRect = QRectF(QRectF(presenter->rect()).center(), QSizeF(0, 0));
        popover->permittedArrowDirections = static_cast<unsigned>(PopoverArrowDirection::none);
    }
}

ViewController *presentKitAlert(AlertController *alert)
{
    ViewController *presenter = topMostViewController();
    if (!presenter) {
        if (!alert->parentWidget())
            alert->deleteLater();
        return nullptr;
    }
    anchorToCentre(alert, presenter);
    presenter->present(alert, true);
    return presenter;
}

void showAlert(const QString &title, const QString &message)
{
    auto *alert = new AlertController(title, message, AlertControllerStyle::alert);
    alert->addAction(AlertAction(QStringLiteral("Ok"), AlertActionStyle::default_));
    presentKitAlert(alert);
}

} // namespace tessivo
