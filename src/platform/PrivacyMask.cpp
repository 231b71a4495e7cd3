#include "platform/PrivacyMask.h"

#include "platform/ViewController.h"

#include <QApplication>
#include <QDynamicPropertyChangeEvent>
#include <QImage>
#include <QLineEdit>
#include <QPainter>

#include <cmath>

namespace tessivo {
namespace {

bool isPasswordField(const QWidget *widget)
{
    const auto *edit = static_cast<const QLineEdit *>(widget);
    return edit->echoMode() == QLineEdit::Password || edit->echoMode() == QLineEdit::PasswordEchoOnEdit;
}

/// A kit screen presented over a host window.
bool isKitScreen(const QObject *object)
{
    const auto *controller = qobject_cast<const ViewController *>(object);
    return controller && controller->presentingViewController();
}

QRect toDevicePixels(const QRect &r, qreal ratio)
{
    if (ratio == 1.0)
        return r;
    const int left = int(std::floor(r.left() * ratio));
    const int top = int(std::floor(r.top() * ratio));
    const int right = int(std::ceil((r.x() + r.width()) * ratio));
    const int bottom = int(std::ceil((r.y() + r.height()) * ratio));
    return QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
}

} // namespace

PrivacyMask &PrivacyMask::shared()
{
    static PrivacyMask *mask = [] {
        auto *m = new PrivacyMask(QCoreApplication::instance()); // the application owns it
        return m;
    }();
    return *mask;
}

PrivacyMask::PrivacyMask(QObject *parent) : QObject(parent)
{
    if (auto *app = QCoreApplication::instance())
        app->installEventFilter(this);
    // Widgets made before the mask: looked at once, then kept by events.
    for (QWidget *widget : QApplication::allWidgets())
        consider(widget);
}

void PrivacyMask::setPrivate(QObject *object, bool isPrivate)
{
    if (object)
        object->setProperty(kPropertyName, isPrivate);
}

bool PrivacyMask::isMarkedPrivate(const QObject *object)
{
    return object && object->property(kPropertyName).toBool();
}

void PrivacyMask::consider(QWidget *widget)
{
    const bool lineEdit = qobject_cast<QLineEdit *>(widget) != nullptr;
    const bool quick = isQuickWidget(widget);
    const bool marked = isMarkedPrivate(widget);
    if (!lineEdit && !quick && !marked)
        return;
    Candidate &candidate = m_candidates[widget];
    if (candidate.widget == widget)
        return; // already known
    candidate = Candidate{widget, marked, lineEdit, quick};
    if (quick)
        watchQuickWidget(widget);
}

void PrivacyMask::propertyChanged(QObject *object)
{
    auto *widget = qobject_cast<QWidget *>(object);
    if (!widget) {
        quickPropertyChanged(object);
        return;
    }
    const bool marked = isMarkedPrivate(widget);
    auto it = m_candidates.find(widget);
    if (it == m_candidates.end() || it->widget != widget) {
        consider(widget);
    } else {
        it->marked = marked;
    }
    // A frame of its own, so that the change shows from the next frame on.
    widget->update();
}

bool PrivacyMask::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Polish:
        if (watched->isWidgetType())
            consider(static_cast<QWidget *>(watched));
        break;
    case QEvent::DynamicPropertyChange:
        if (static_cast<QDynamicPropertyChangeEvent *>(event)->propertyName() == kPropertyName)
            propertyChanged(watched);
        break;
    case QEvent::UpdateRequest:
        // The window is about to paint: what it paints now is where the
        // private areas are now.
        if (watched->isWidgetType()) {
            const auto *window = static_cast<const QWidget *>(watched);
            auto it = m_painted.find(window);
            if (it != m_painted.end())
                *it = currentRegion(window);
        }
        break;
    default:
        break;
    }
    return false;
}

QRegion PrivacyMask::currentRegion(const QWidget *window)
{
    QRegion result;
    if (!window)
        return result;
    // The kit's own screens over this window, which are never masked.
    QList<const QWidget *> kitScreens;
    for (const QObject *child : window->children()) {
        if (child->isWidgetType() && isKitScreen(child) && static_cast<const QWidget *>(child)->isVisible())
            kitScreens.append(static_cast<const QWidget *>(child));
    }
    for (auto it = m_candidates.begin(); it != m_candidates.end();) {
        const Candidate &candidate = *it;
        QWidget *widget = candidate.widget;
        if (!widget) {
            it = m_candidates.erase(it);
            continue;
        }
        ++it;
        const bool privateWidget = candidate.marked || (candidate.lineEdit && isPasswordField(widget));
        if ((!privateWidget && !candidate.quick) || !widget->isVisible())
            continue;
        // The widget's rectangle, clipped by each ancestor on the way up.
        QRect area = widget->rect();
        QPoint offset;
        const QWidget *child = widget;
        while (child != window && !area.isEmpty()) {
            const QWidget *parent = child->parentWidget();
            if (!parent || child->isWindow() || kitScreens.contains(child))
                break;
            offset += child->pos();
            area = area.translated(child->pos()) & parent->rect();
            child = parent;
        }
        if (child != window || area.isEmpty())
            continue;
        if (privateWidget)
            result += area;
        else
            result += (quickItemsRegion(widget) | m_quickSynced.value(widget)).translated(offset) & area;
    }
    for (const QWidget *screen : kitScreens)
        result -= screen->geometry();
    return result;
}

QRegion PrivacyMask::region(const QWidget *window)
{
    if (!window)
        return {};
    PrivacyMask &mask = shared();
    QRegion logical = mask.currentRegion(window);
    auto painted = mask.m_painted.find(window);
    if (painted == mask.m_painted.end()) {
        mask.m_painted.insert(window, logical);
        connect(window, &QObject::destroyed, &mask, [&mask, window] { mask.m_painted.remove(window); });
    } else {
        logical += *painted;
    }
    const qreal ratio = window->devicePixelRatioF();
    if (ratio == 1.0 || logical.isEmpty())
        return logical;
    QRegion pixels;
    for (const QRect &r : logical)
        pixels += toDevicePixels(r, ratio);
    return pixels;
}

void PrivacyMask::fill(QImage &image, const QRegion &area)
{
    const QRegion inside = area & image.rect();
    if (inside.isEmpty())
        return;
    const QRgb color = fillColor().rgb();
    switch (image.format()) {
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied:
        for (const QRect &r : inside) {
            for (int y = r.top(); y <= r.bottom(); ++y) {
                auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
                std::fill(line + r.left(), line + r.right() + 1, color);
            }
        }
        break;
    default: {
        // Painted in device pixels, whatever the image's pixel ratio.
        const qreal ratio = image.devicePixelRatio();
        image.setDevicePixelRatio(1.0);
        {
            QPainter painter(&image);
            painter.setCompositionMode(QPainter::CompositionMode_Source);
            for (const QRect &r : inside)
                painter.fillRect(r, fillColor());
        }
        image.setDevicePixelRatio(ratio);
        break;
    }
    }
}

bool PrivacyMask::apply(QImage &image, const QWidget *window)
{
    const QRegion area = region(window);
    fill(image, area);
    return !area.isEmpty();
}

} // namespace tessivo
