#include "photo/StickerView.h"

#include "platform/Bundle.h"

#include <QGraphicsDropShadowEffect>
#include <QHash>

#include <algorithm>
#include <QPainter>

namespace tessivo {

namespace {

// Pictures are drawn at twice their size so that they stay sharp when a
// placed sticker is pinched up.
constexpr qreal kPictureScale = 2.0;

QFont letterFont(qreal size)
{
    QFont face(QStringLiteral("DejaVu Sans"));
    face.setStyleHint(QFont::SansSerif);
    face.setWeight(QFont::Black);
    face.setPixelSize(std::max(1, qRound(size))); // pixels, not points
    return face;
}

// Each picture is drawn once: the picker redraws its cells on every
// change, and the catalogue is small.
QPixmap picture(const QString &name)
{
    // Images, not pixmaps: they may outlive the application object.
    static QHash<QString, QImage> pictures;
    auto found = pictures.constFind(name);
    if (found == pictures.constEnd()) {
        const QImage image = Bundle::kit().image(name, kPictureScale);
        if (image.isNull())
            return QPixmap();
        found = pictures.insert(name, image);
    }
    return QPixmap::fromImage(*found);
}

} // namespace

StickerView::StickerView(const QRectF &frame, QGraphicsItem *parent) : CanvasObjectItem(parent)
{
    m_imageView = new QGraphicsPixmapItem(this);
    m_imageView->setTransformationMode(Qt::SmoothTransformation);
    m_imageView->setGraphicsEffect(new QGraphicsDropShadowEffect);
    m_label = new QGraphicsSimpleTextItem(this);
    m_label->setBrush(Qt::white);
    setFrame(frame);
    applyStyle(false);
}

void StickerView::setSticker(const std::optional<Sticker> &sticker)
{
    m_sticker = sticker;
    // A missing image leaves the picture empty.
    m_imageView->setPixmap(sticker ? picture(sticker->imageName) : QPixmap());
    m_label->setText(sticker && sticker->smartLetter ? *sticker->smartLetter : QString());
    placeChildren();
}

void StickerView::applyStyle(bool large)
{
    m_style = large ? kLargeStyle : kSmallStyle;
    m_label->setFont(letterFont(m_style.fontSize));
    auto *shadow = static_cast<QGraphicsDropShadowEffect *>(m_imageView->graphicsEffect());
    QColor color(Qt::black);
    color.setAlphaF(m_style.shadowOpacity);
    shadow->setColor(color);
    shadow->setOffset(m_style.shadowOffset);
    // The blur's radius spreads about twice as far as a layer shadow's.
    shadow->setBlurRadius(m_style.shadowRadius * 2);
    // The picture is not clipped to the bounds: the shadow spills out.
    setFlag(ItemClipsChildrenToShape, false);
    placeChildren();
}

void StickerView::boundsChanged()
{
    placeChildren();
}

void StickerView::placeChildren()
{
    if (!m_imageView)
        return;
    const QRectF box = bounds();
    const QSizeF natural = m_imageView->pixmap().isNull() ? QSizeF(kWidth, kHeight) * kPictureScale
                                                           : m_imageView->pixmap().deviceIndependentSize();
    // The picture fills the bounds, keeping its proportions.
    const qreal scale = std::min(box.width() / natural.width(), box.height() / natural.height());
    m_imageView->setScale(scale);
    m_imageView->setPos(box.center() - QPointF(natural.width(), natural.height()) * scale / 2);
    const QRectF text = m_label->boundingRect();
    m_label->setPos(box.center() - text.center());
}

int StickerView::alphaAt(QPointF local) const
{
    QImage pixel(1, 1, QImage::Format_ARGB32_Premultiplied);
    pixel.fill(Qt::transparent);
    QPainter painter(&pixel);
    painter.translate(-local);
    painter.translate(m_imageView->pos());
    painter.scale(m_imageView->scale(), m_imageView->scale());
    painter.drawPixmap(QPointF(0, 0), m_imageView->pixmap());
    painter.end();
    return qAlpha(pixel.pixel(0, 0));
}

} // namespace tessivo
