// The stroke layer of the photo canvas: a transparent image over the
// screenshot that holds the freehand strokes, flattened into one bitmap.
// Its child items are the canvas's objects (text annotations, stickers),
// so they move, render and clear with it.
#pragma once

#include "tessivo_export.h"

#include <QGraphicsItem>
#include <QImage>

namespace tessivo {

class TESSIVO_EXPORT StrokeLayerItem : public QGraphicsItem
{
public:
    explicit StrokeLayerItem(QGraphicsItem *parent = nullptr);

    /// The strokes; a null image when there are none. Drawn over the
    /// item's whole rectangle.
    QImage image() const { return m_image; }
    void setImage(const QImage &image);

    QSizeF size() const { return m_size; }
    void setSize(const QSizeF &size);
    /// The item's rectangle in its parent's coordinates.
    QRectF frame() const { return QRectF(pos(), m_size); }

    /// Whether the layer and its objects take input.
    bool isUserInteractionEnabled() const { return isEnabled(); }
    void setUserInteractionEnabled(bool enabled) { setEnabled(enabled); }

    QRectF boundingRect() const override;
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    QImage m_image;
    QSizeF m_size;
};

} // namespace tessivo
