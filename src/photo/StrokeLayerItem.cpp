#include "photo/StrokeLayerItem.h"

#include <QPainter>

namespace tessivo {

StrokeLayerItem::StrokeLayerItem(QGraphicsItem *parent) : QGraphicsItem(parent)
{
    // The layer itself never takes a click: the canvas scrolls under it and
    // drawing is the editor's. Its objects take their own input.
    setAcceptedMouseButtons(Qt::NoButton);
}

void StrokeLayerItem::setImage(const QImage &image)
{
    m_image = image;
    update();
}

void StrokeLayerItem::setSize(const QSizeF &size)
{
    if (size == m_size)
        return;
    prepareGeometryChange();
    m_size = size;
}

QRectF StrokeLayerItem::boundingRect() const
{
    return QRectF(QPointF(0, 0), m_size);
}

void StrokeLayerItem::paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *)
{
    if (m_image.isNull())
        return;
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(boundingRect(), m_image);
}

} // namespace tessivo
