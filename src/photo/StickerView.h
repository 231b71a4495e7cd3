// A sticker: its picture (imageView), with the smart letter (label) drawn
// over the middle of it. On the canvas it is 400 × 327 points shown at a
// 0.45 scale; in the picker's cells it is small. applyStyle(large:) sets
// the letter's size and the picture's shadow for either place.
#pragma once

#include "photo/CanvasObjectItem.h"
#include "photo/Sticker.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsSimpleTextItem>

#include <optional>

namespace tessivo {

class TESSIVO_EXPORT StickerView : public CanvasObjectItem
{
    Q_OBJECT
public:
    /// The size of a sticker placed on the canvas, and its scale there.
    static constexpr qreal kWidth = 400;
    static constexpr qreal kHeight = 327;
    static constexpr qreal kPlacedScale = 0.45;

    struct Style {
        qreal fontSize;
        QPointF shadowOffset;
        qreal shadowOpacity;
        qreal shadowRadius;
    };
    static constexpr Style kLargeStyle{130, {0, 8}, 0.5, 12};
    static constexpr Style kSmallStyle{15, {0, 3}, 0.5, 3};

    explicit StickerView(const QRectF &frame, QGraphicsItem *parent = nullptr);

    QGraphicsPixmapItem *imageView() const { return m_imageView; }
    QGraphicsSimpleTextItem *label() const { return m_label; }

    /// Currently shrunk over the delete zone.
    bool wasReduced = false;

    const std::optional<Sticker> &sticker() const { return m_sticker; }
    /// Shows the sticker's image and, when it has one, its letter.
    void setSticker(const std::optional<Sticker> &sticker);

    void applyStyle(bool large);
    const Style &style() const { return m_style; }

    /// The alpha (0 to 255) of the picture at a point of the item, read by
    /// rendering that one pixel.
    int alphaAt(QPointF local) const;

    void paint(QPainter *, const QStyleOptionGraphicsItem *, QWidget *) override {}

protected:
    void boundsChanged() override;

private:
    void placeChildren();

    QGraphicsPixmapItem *m_imageView = nullptr; // children of this item
    QGraphicsSimpleTextItem *m_label = nullptr;
    std::optional<Sticker> m_sticker;
    Style m_style = kSmallStyle;
};

} // namespace tessivo
