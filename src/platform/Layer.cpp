#include "platform/Layer.h"

#include <QEvent>
#include <QGraphicsDropShadowEffect>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>
#include <QWidget>

namespace tessivo {
namespace {
constexpr auto kLayerName = "tessivo.layer";

bool hasCorner(unsigned corners, CornerMask c)
{
    return corners & static_cast<unsigned>(c);
}
} // namespace

QPainterPath roundedPath(const QRectF &rect, qreal radius, unsigned corners)
{
    QPainterPath path;
    const qreal r = std::clamp(radius, 0.0, std::min(rect.width(), rect.height()) / 2);
    if (r <= 0) {
        path.addRect(rect);
        return path;
    }
    const qreal tl = hasCorner(corners, CornerMask::minXMinY) ? r : 0;
    const qreal tr = hasCorner(corners, CornerMask::maxXMinY) ? r : 0;
    const qreal bl = hasCorner(corners, CornerMask::minXMaxY) ? r : 0;
    const qreal br = hasCorner(corners, CornerMask::maxXMaxY) ? r : 0;
    path.moveTo(rect.left() + tl, rect.top());
    path.lineTo(rect.right() - tr, rect.top());
    if (tr > 0)
        path.arcTo(QRectF(rect.right() - 2 * tr, rect.top(), 2 * tr, 2 * tr), 90, -90);
    path.lineTo(rect.right(), rect.bottom() - br);
    if (br > 0)
        path.arcTo(QRectF(rect.right() - 2 * br, rect.bottom() - 2 * br, 2 * br, 2 * br), 0, -90);
    path.lineTo(rect.left() + bl, rect.bottom());
    if (bl > 0)
        path.arcTo(QRectF(rect.left(), rect.bottom() - 2 * bl, 2 * bl, 2 * bl), 270, -90);
    path.lineTo(rect.left(), rect.top() + tl);
    if (tl > 0)
        path.arcTo(QRectF(rect.left(), rect.top(), 2 * tl, 2 * tl), 180, -90);
    path.closeSubpath();
    return path;
}

Layer::Layer(QWidget *widget) : QObject(widget), m_widget(widget)
{
    setObjectName(QLatin1String(kLayerName));
    widget->installEventFilter(this);
}

Layer *Layer::existing(const QWidget *widget)
{
    if (!widget)
        return nullptr;
    return widget->findChild<Layer *>(QLatin1String(kLayerName), Qt::FindDirectChildrenOnly);
}

Layer *Layer::of(QWidget *widget)
{
    Q_ASSERT(widget);
    if (Layer *layer = existing(widget))
        return layer;
    return new Layer(widget);
}

void Layer::applyDesignerProperties(QWidget *root)
{
    if (!root)
        return;
    QList<QWidget *> widgets = root->findChildren<QWidget *>();
    widgets.prepend(root);
    for (QWidget *w : widgets) {
        const QVariant radius = w->property("cornerRadius");
        const QVariant border = w->property("borderWidth");
        const QVariant shadow = w->property("shadowOpacity");
        if (!radius.isValid() && !border.isValid() && !shadow.isValid())
            continue;
        Layer *layer = Layer::of(w);
        if (radius.isValid())
            layer->setCornerRadius(radius.toDouble());
        if (border.isValid()) {
            layer->setBorderWidth(border.toDouble());
            layer->setBorderColor(QColor::fromString(w->property("borderColor").toString()));
        }
        if (shadow.isValid()) {
            layer->setShadow(QPointF(w->property("shadowOffsetX").toDouble(),
                                     w->property("shadowOffsetY").toDouble()),
                             w->property("shadowRadius").toDouble(), shadow.toDouble(),
                             w->property("shadowColor").isValid()
                                 ? QColor::fromString(w->property("shadowColor").toString())
                                 : QColor(Qt::black));
        }
    }
}

void Layer::setCornerRadius(qreal radius)
{
    m_cornerRadius = std::max<qreal>(0, radius);
    updateMask();
    update();
}

void Layer::setMaskedCorners(unsigned corners)
{
    m_maskedCorners = corners & static_cast<unsigned>(CornerMask::all);
    updateMask();
    update();
}

void Layer::setMasksToBounds(bool masks)
{
    m_masksToBounds = masks;
    updateMask();
}

void Layer::setBackgroundColor(const QColor &color)
{
    m_backgroundColor = color;
    update();
}

void Layer::setBorderWidth(qreal width)
{
    m_borderWidth = std::max<qreal>(0, width);
    update();
}

void Layer::setBorderColor(const QColor &color)
{
    m_borderColor = color;
    update();
}

void Layer::setShadow(QPointF offset, qreal radius, qreal opacity, const QColor &color)
{
    m_shadowOffset = offset;
    m_shadowRadius = std::max<qreal>(0, radius);
    m_shadowOpacity = std::clamp<qreal>(opacity, 0, 1);
    m_shadowColor = color;
    updateShadow();
}

void Layer::paint(QPainter &painter, const QRectF &rect) const
{
    const bool hasBackground = m_backgroundColor.isValid() && m_backgroundColor.alpha() > 0;
    const bool hasBorder = m_borderWidth > 0 && m_borderColor.isValid() && m_borderColor.alpha() > 0;
    if (!hasBackground && !hasBorder)
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (hasBackground)
        painter.fillPath(roundedPath(rect, m_cornerRadius, m_maskedCorners), m_backgroundColor);
    if (hasBorder) {
        // The border lies inside the bounds, as on the platform.
        const qreal inset = m_borderWidth / 2;
        const QRectF inner = rect.adjusted(inset, inset, -inset, -inset);
        QPen pen(m_borderColor, m_borderWidth);
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(roundedPath(inner, std::max<qreal>(0, m_cornerRadius - inset), m_maskedCorners));
    }
    painter.restore();
}

bool Layer::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_widget) {
        if (event->type() == QEvent::Paint) {
            QPainter painter(m_widget);
            paint(painter, QRectF(m_widget->rect()));
        } else if (event->type() == QEvent::Resize) {
            updateMask();
        }
    }
    return QObject::eventFilter(watched, event);
}

void Layer::update()
{
    if (m_widget)
        m_widget->update();
}

void Layer::updateShadow()
{
    if (!m_widget)
        return;
    auto *effect = qobject_cast<QGraphicsDropShadowEffect *>(m_widget->graphicsEffect());
    if (m_shadowOpacity <= 0) {
        if (effect)
            m_widget->setGraphicsEffect(nullptr);
        return;
    }
    if (!effect) {
        effect = new QGraphicsDropShadowEffect(m_widget);
        m_widget->setGraphicsEffect(effect);
    }
    QColor color = m_shadowColor;
    color.setAlphaF(static_cast<float>(m_shadowOpacity * m_shadowColor.alphaF()));
    effect->setColor(color);
    // The platform's shadow radius is close to a Gaussian sigma; Qt's blur
    // radius is about twice that.
    effect->setBlurRadius(m_shadowRadius * 2);
    effect->setOffset(m_shadowOffset);
}

void Layer::updateMask()
{
    if (!m_widget)
        return;
    if (!m_masksToBounds || m_cornerRadius <= 0) {
        m_widget->clearMask();
        return;
    }
    const QPainterPath path = roundedPath(QRectF(m_widget->rect()), m_cornerRadius, m_maskedCorners);
    m_widget->setMask(QRegion(path.toFillPolygon().toPolygon()));
}

} // namespace tessivo
