#include "photo/CanvasObjectItem.h"

#include <algorithm>

namespace tessivo {

CanvasObjectItem::CanvasObjectItem(QGraphicsItem *parent) : QGraphicsObject(parent)
{
    // The objects take their input through gesture recognisers; the view's
    // own item handling is left to text editing.
    setAcceptedMouseButtons(Qt::NoButton);
}

void CanvasObjectItem::setBoundsSize(const QSizeF &size)
{
    if (size == m_size)
        return;
    prepareGeometryChange();
    m_size = size;
    boundsChanged();
    update();
}

void CanvasObjectItem::setFrame(const QRectF &frame)
{
    setBoundsSize(frame.size());
    setCenter(frame.center());
}

void CanvasObjectItem::bringToFront()
{
    const QList<QGraphicsItem *> siblings = parentItem() ? parentItem()->childItems() : QList<QGraphicsItem *>();
    qreal top = zValue();
    for (const QGraphicsItem *sibling : siblings) {
        if (sibling != this)
            top = std::max(top, sibling->zValue() + 1);
    }
    setZValue(top);
}

} // namespace tessivo
