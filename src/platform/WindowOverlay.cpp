#include "platform/WindowOverlay.h"

#include "platform/PrivacyMask.h"

#include <QApplication>
#include <QChildEvent>

namespace tessivo {

bool WindowOverlay::isHostWindow(const QWindow *window)
{
    if (!window || window->parent() || window->inherits("QWidgetWindow"))
        return false;
    const Qt::WindowType type = window->type();
    return type == Qt::Window || type == Qt::Dialog;
}

WindowOverlay *WindowOverlay::of(QWindow *host)
{
    if (!isHostWindow(host) || !qobject_cast<QApplication *>(QCoreApplication::instance()))
        return nullptr;
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (auto *overlay = qobject_cast<WindowOverlay *>(top); overlay && overlay->m_host == host)
            return overlay;
    }
    // Owned by the host window: deleted with it (or with the application).
    return new WindowOverlay(host);
}

WindowOverlay::WindowOverlay(QWindow *host) : m_host(host)
{
    setObjectName(QStringLiteral("tessivo.windowOverlay"));
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    setWindowTitle(host->title());
    followHost();
    connect(host, &QObject::destroyed, this, &QObject::deleteLater);
    for (auto changed : {&QWindow::xChanged, &QWindow::yChanged, &QWindow::widthChanged,
                         &QWindow::heightChanged})
        connect(host, changed, this, &WindowOverlay::followHost);
    connect(host, &QWindow::visibleChanged, this, &WindowOverlay::updateShown);
}

void WindowOverlay::followHost()
{
    if (m_host)
        setGeometry(m_host->geometry());
}

bool WindowOverlay::event(QEvent *event)
{
    if (event->type() == QEvent::ChildAdded || event->type() == QEvent::ChildRemoved) {
        auto *child = static_cast<QChildEvent *>(event)->child();
        if (child->isWidgetType()) {
            if (event->type() == QEvent::ChildAdded)
                child->installEventFilter(this);
            else
                child->removeEventFilter(this);
            updateShown();
        }
    }
    return QWidget::event(event);
}

bool WindowOverlay::eventFilter(QObject *watched, QEvent *event)
{
    // A child's own show() or hide(), whether or not the overlay is shown.
    if ((event->type() == QEvent::ShowToParent || event->type() == QEvent::HideToParent)
        && watched->parent() == this)
        updateShown();
    return QWidget::eventFilter(watched, event);
}

void WindowOverlay::updateShown()
{
    bool presenting = false;
    for (QObject *child : children()) {
        auto *widget = qobject_cast<QWidget *>(child);
        // The window's stand-in root controller is never shown.
        if (widget && !widget->isHidden() && !widget->testAttribute(Qt::WA_DontShowOnScreen)) {
            presenting = true;
            break;
        }
    }
    const bool wanted = presenting && isHostShown();
    if (wanted && !isVisible()) {
        followHost();
        create();
        if (QWindow *own = windowHandle())
            own->setTransientParent(m_host);
        show(); // a new window, on top of its transient parent
        activateWindow();
    } else if (!wanted && isVisible()) {
        const bool wasActive = isActiveWindow();
        hide();
        if (wasActive && isHostShown())
            m_host->requestActivate();
    }
}

QImage WindowOverlay::grabContent(QWidget *window)
{
    if (!window)
        return QImage();
    auto *overlay = qobject_cast<WindowOverlay *>(window);
    if (!overlay) {
        QImage image = window->grab().toImage();
        PrivacyMask::apply(image, window);
        return image;
    }
    QWindow *host = overlay->hostWindow();
    QImage image = grabHostWindow(host);
    if (image.isNull())
        return image;
    if (PrivacyMask::isMarkedPrivate(host)) {
        PrivacyMask::fill(image, QRegion(image.rect()));
        return image;
    }
    // Item areas are in the window's logical pixels; the image is in its
    // device pixels.
    const qreal ratio = image.width() / qMax(1.0, qreal(host->width()));
    QRegion area;
    for (const QRect &rect : PrivacyMask::itemsRegion(host))
        area += QRectF(QPointF(rect.topLeft()) * ratio, QSizeF(rect.size()) * ratio).toAlignedRect();
    PrivacyMask::fill(image, area);
    return image;
}

} // namespace tessivo
