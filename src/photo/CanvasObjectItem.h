// What the canvas's objects (text annotations, stickers) share: an item
// whose local origin is its centre, so that its position is its centre and
// its transform (scale, rotation) applies around the centre. bounds() is
// its own untransformed rectangle and frame() the rectangle it covers in
// its parent, transform included.
#pragma once

#include "tessivo_export.h"

#include <QGraphicsObject>
#include <QTransform>

namespace tessivo {

class TESSIVO_EXPORT CanvasObjectItem : public QGraphicsObject
{
    Q_OBJECT
    Q_PROPERTY(QPointF center READ center WRITE setCenter)
public:
    QSizeF boundsSize() const { return m_size; }
    void setBoundsSize(const QSizeF &size);
    /// The untransformed rectangle, centred on the origin.
    QRectF bounds() const { return QRectF(-m_size.width() / 2, -m_size.height() / 2, m_size.width(), m_size.height()); }

    QPointF center() const { return pos(); }
    void setCenter(QPointF center) { setPos(center); }
    /// Places the untransformed item at a rectangle of its parent.
    void setFrame(const QRectF &frame);
    QRectF frame() const { return mapRectToParent(bounds()); }

    int tag() const { return m_tag; }
    virtual void setTag(int tag) { m_tag = tag; }

    /// Puts the item above its siblings.
    void bringToFront();

    QRectF boundingRect() const override { return bounds(); }

protected:
    explicit CanvasObjectItem(QGraphicsItem *parent = nullptr);
    /// Called after the bounds change.
    virtual void boundsChanged() {}

private:
    QSizeF m_size;
    int m_tag = 0;
};

} // namespace tessivo
