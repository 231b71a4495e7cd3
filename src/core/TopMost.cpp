#include "core/TopMost.h"

#include "platform/Application.h"
#include "platform/NavigationController.h"
#include "platform/TabBarController.h"

namespace tessivo {

ViewController *topMostViewController()
{
    return topMostViewController(ViewController::rootOf(Application::keyWindow()));
}

ViewController *topMostViewController(ViewController *controller)
{
    while (controller) {
        // A controller on its way out presents nothing more: the walk stops
        // under it.
        if (auto *nav = qobject_cast<NavigationController *>(controller)) {
            ViewController *visible = nav->visibleViewController();
            controller = visible && visible->isBeingDismissed() ? nav->topViewController() : visible;
        } else if (auto *tabs = qobject_cast<TabBarController *>(controller)) {
            NavigationController *more = tabs->moreNavigationController();
            controller = more && more->isInWindow() ? more->topViewController()
                                                    : tabs->selectedViewController();
        } else if (ViewController *presented = controller->presentedViewController();
                   presented && !presented->isBeingDismissed()) {
            controller = presented;
        } else {
            return controller;
        }
    }
    return nullptr;
}

} // namespace tessivo
