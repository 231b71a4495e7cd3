// The kit's screens in its "Main" storyboard.
#include "core/SelectOptionViewController.h"
#include "core/TestingNotesViewController.h"
#include "platform/NavigationController.h"
#include "platform/Storyboard.h"

namespace tessivo {
namespace {

NavigationController *navigationWith(ViewController *root)
{
    auto *nav = new NavigationController(root);
    nav->setNavigationBarHidden(true);
    return nav;
}

const bool registered = [] {
    Storyboard &main = Storyboard::named(QStringLiteral("Main"));
    main.registerController(QStringLiteral("initialNavController"),
                            [] { return navigationWith(new SelectOptionViewController); });
    main.registerController(QStringLiteral("testingNotesNavController"),
                            [] { return navigationWith(new TestingNotesViewController); });
    return true;
}();

} // namespace
} // namespace tessivo
