// Every kit screen over a host application's window, at the window sizes
// of screens from 640x480 to 3840x2160 at their usual scales: the file
// name gives the screen's pixels and its scale, e.g. 1920x1080@1.5.
#include "Gallery.h"
#include "KitScreens.h"

namespace tessivo::gallery {
namespace {

struct Screen {
    QSize pixels;
    double scale;
};

const bool entries = [] {
    const QList<Screen> sizes{{{640, 480}, 1.0}, {{1280, 800}, 1.25}, {{1920, 1080}, 1.5}, {{3840, 2160}, 2.0}};
    const QList<test::KitScreen> screens = test::kitScreens();
    for (const Screen &size : sizes) {
        const QSize points = (QSizeF(size.pixels) / size.scale).toSize();
        for (int s = 0; s < screens.size(); ++s) {
            const QString name = QStringLiteral("%1-%2x%3@%4")
                                     .arg(screens[s].name)
                                     .arg(size.pixels.width())
                                     .arg(size.pixels.height())
                                     .arg(size.scale);
            add({name, points,
                 [points, s](Appearance) {
                     QWidget *host = test::makeHostWindow(points);
                     host->show();
                     test::settleScreens(4);
                     test::kitScreens().at(s).open(host);
                     return host;
                 },
                 size.scale});
        }
    }
    return true;
}();

} // namespace
} // namespace tessivo::gallery
