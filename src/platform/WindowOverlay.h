// The kit's stand-in for a host window that is not a widget (a QQuickWindow
// of a QML host): a frameless, translucent top-level widget tied to that
// window (its transient child, at its position and size, following it).
// The kit's code works with widget windows; for such a host it works with
// the overlay, which is shown only while a kit screen is presented in it.
#pragma once

#include "tessivo_export.h"

#include <QImage>
#include <QPointer>
#include <QWidget>
#include <QWindow>

namespace tessivo {

class TESSIVO_EXPORT WindowOverlay : public QWidget
{
    Q_OBJECT
public:
    /// Whether `window` is a host window the kit needs an overlay for: a
    /// top-level window that is not a widget's.
    static bool isHostWindow(const QWindow *window);
    /// The overlay of `host`, made on first use; null when `host` is not a
    /// host window. It lives as long as `host`.
    static WindowOverlay *of(QWindow *host);
    /// The host window's content as the tester sees it (for a widget
    /// window, its widgets; for an overlay, the window it stands for), with
    /// what is marked private filled; null when it cannot be read.
    static QImage grabContent(QWidget *window);

    QWindow *hostWindow() const { return m_host.data(); }
    /// The host window is shown, so the kit can present over it.
    bool isHostShown() const { return m_host && m_host->isVisible(); }

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit WindowOverlay(QWindow *host);
    /// Shown while a child other than the window's stand-in root is shown
    /// and the host is visible; hidden otherwise.
    void updateShown();
    void followHost();
    /// The pixels of `host` (a Qt Quick window: its scene graph's last
    /// frame); null for other windows or when the kit is built without
    /// Qt Quick.
    static QImage grabHostWindow(QWindow *host);

    QPointer<QWindow> m_host;
};

} // namespace tessivo
