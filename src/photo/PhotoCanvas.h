// The photo editor's canvas content: a graphics scene holding, top to
// bottom, the screenshot (imageView), the stroke layer over it
// (canvasImageView, parent of the annotations and stickers) and the
// metadata card (metadataView) with a hairline above it. It lays them out
// for the scroller that shows it, draws stroke segments into the layer and
// renders the whole content into the report image.
#pragma once

#include "metadata/MetadataView.h"
#include "photo/StrokeLayerItem.h"
#include "platform/Appearance.h"
#include "tessivo_export.h"

#include <QColor>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QImage>
#include <QObject>
#include <QPointer>

class QGraphicsProxyWidget;
class QGraphicsRectItem;

namespace tessivo {

class CanvasScrollView;

class TESSIVO_EXPORT PhotoCanvas : public QObject
{
    Q_OBJECT
public:
    explicit PhotoCanvas(QObject *parent = nullptr);

    QGraphicsScene *scene() const { return m_scene; }
    QGraphicsPixmapItem *imageView() const { return m_imageView; }
    /// Shows `image` in the screenshot item (a null image: no screenshot).
    void setImageView(QGraphicsPixmapItem *item, const QImage &image);
    StrokeLayerItem *strokeLayer() const { return m_strokeLayer; }
    MetadataView *metadataView() const { return m_metadataView; }

    /// Lays screenshot, stroke layer and card out for `scroller`.
    void layout(CanvasScrollView *scroller);
    /// Colours of the card and its hairline.
    void applyColors(Appearance appearance, const QPalette &palette);
    /// One straight, round-capped segment of `width` in `color` on the
    /// stroke layer, re-rendering the whole layer at `scale`.
    void drawLine(QPointF from, QPointF to, const QColor &color, qreal width, qreal scale);
    /// The whole content (not only what is scrolled into view) at `scale`,
    /// with alpha; an empty image when it cannot be drawn.
    QImage render(CanvasScrollView *scroller);

    static QColor cardColorFor(Appearance appearance);

private:
    QPointer<QGraphicsScene> m_scene;
    QGraphicsPixmapItem *m_imageView = nullptr; // owned by the scene
    StrokeLayerItem *m_strokeLayer = nullptr; // owned by the scene
    QPointer<MetadataView> m_metadataView;
    QGraphicsProxyWidget *m_cardProxy = nullptr; // owned by the scene
    QGraphicsRectItem *m_cardSeparator = nullptr; // owned by the scene
};

} // namespace tessivo
