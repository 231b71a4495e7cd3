// The Qt Quick half of WindowOverlay: the pixels of a QQuickWindow.
#include "platform/WindowOverlay.h"

#ifdef TESSIVO_HAS_QUICK
#include <QQuickWindow>
#endif

namespace tessivo {

QImage WindowOverlay::grabHostWindow(QWindow *host)
{
#ifdef TESSIVO_HAS_QUICK
    // Renders the scene once more and reads it back, on any scene graph
    // backend and render loop; the kit's overlay is a window of its own, so
    // it is never in the picture.
    if (auto *quick = qobject_cast<QQuickWindow *>(host); quick && quick->isVisible())
        return quick->grabWindow();
#else
    Q_UNUSED(host)
#endif
    return QImage();
}

} // namespace tessivo
