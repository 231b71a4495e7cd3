#include "photo/PhotoCanvas.h"

#include "photo/CanvasScrollView.h"

#include <QCoreApplication>
#include <QGraphicsProxyWidget>
#include <QGraphicsRectItem>
#include <QLayout>
#include <QPainter>
#include <QPainterPath>

namespace tessivo {

PhotoCanvas::PhotoCanvas(QObject *parent) : QObject(parent)
{
    auto *scene = new QGraphicsScene(this);
    // A click beside the text being edited leaves the keyboard with it.
    scene->setStickyFocus(true);
    // A handful of items that move, scale and turn all the time: hit tests
    // read them as they are now rather than from a spatial index.
    scene->setItemIndexMethod(QGraphicsScene::NoIndex);
    m_scene = scene;
    auto *card = new MetadataView;
    m_cardProxy = scene->addWidget(card);
    m_cardProxy->setZValue(-1);
    m_metadataView = card;
    // A hairline where the screenshot ends and the card begins.
    m_cardSeparator = scene->addRect(QRectF(), Qt::NoPen);
    m_cardSeparator->setZValue(2);
    m_strokeLayer = new StrokeLayerItem;
    m_strokeLayer->setZValue(1);
    scene->addItem(m_strokeLayer);
    m_imageView = scene->addPixmap(QPixmap());
}

void PhotoCanvas::setImageView(QGraphicsPixmapItem *item, const QImage &image)
{
    m_imageView = item;
    if (!item)
        return;
    item->setTransformationMode(Qt::SmoothTransformation);
    item->setPixmap(image.isNull() ? QPixmap() : QPixmap::fromImage(image));
}

QColor PhotoCanvas::cardColorFor(Appearance appearance)
{
    return appearance == Appearance::dark ? QColor(28, 28, 30) : QColor(Qt::white);
}

void PhotoCanvas::applyColors(Appearance appearance, const QPalette &palette)
{
    if (m_scene)
        m_scene->setPalette(palette);
    if (m_metadataView) {
        // The card is drawn by its proxy, which fills it with its window
        // colour: that is the card's colour.
        QPalette card = palette;
        card.setColor(QPalette::Window, cardColorFor(appearance));
        m_metadataView->setPalette(card);
        m_metadataView->setAutoFillBackground(true);
    }
    if (m_cardSeparator)
        m_cardSeparator->setBrush(appearance == Appearance::dark ? QColor(84, 84, 88) : QColor(198, 198, 200));
}

void PhotoCanvas::layout(CanvasScrollView *scroller)
{
    if (!m_scene || !scroller)
        return;
    // The scene keeps the screenshot's own points whatever the window's
    // size, so that strokes, stickers and texts stay where they were put
    // and the report image does not depend on the window; the scroller
    // scales it to show the whole screenshot, as wide as it fits.
    const QSizeF visible = scroller->viewport()->size();
    QSizeF screenshot;
    if (m_imageView && !m_imageView->pixmap().isNull())
        screenshot = m_imageView->pixmap().deviceIndependentSize();
    const qreal width = screenshot.isEmpty() ? visible.width() : screenshot.width();
    const qreal screenshotHeight = screenshot.isEmpty() ? 0.0 : screenshot.height();
    if (m_imageView) {
        m_imageView->setScale(1);
        m_imageView->setPos(0, 0);
    }
    if (m_strokeLayer) {
        m_strokeLayer->setPos(0, 0);
        m_strokeLayer->setSize(QSizeF(width, screenshotHeight));
    }
    qreal cardHeight = 0;
    if (m_metadataView && m_cardProxy) {
        if (QLayout *layout = m_metadataView->layout())
            layout->activate();
        const int w = qRound(width);
        const int forWidth = m_metadataView->hasHeightForWidth() ? m_metadataView->heightForWidth(w) : -1;
        cardHeight = forWidth > 0 ? forWidth : m_metadataView->sizeHint().height();
        m_cardProxy->setGeometry(QRectF(0, screenshotHeight, width, cardHeight));
        m_cardSeparator->setRect(QRectF(0, screenshotHeight, width, screenshotHeight > 0 ? 1 : 0));
    }
    m_scene->setSceneRect(QRectF(0, 0, width, screenshotHeight + cardHeight + scroller->bottomContentInset()));
    qreal scale = 1;
    if (!screenshot.isEmpty() && visible.width() > 0 && visible.height() > 0)
        scale = std::min(visible.width() / screenshot.width(), visible.height() / screenshot.height());
    scroller->setContentScale(scale);
}

void PhotoCanvas::drawLine(QPointF from, QPointF to, const QColor &color, qreal width, qreal scale)
{
    StrokeLayerItem *layer = m_strokeLayer;
    if (!layer)
        qFatal("Tessivo: the photo editor has no stroke layer");
    const QRect frame = layer->frame().toAlignedRect();
    const QSize size = frame.size();
    QImage canvas(QSize(qCeil(size.width() * scale), qCeil(size.height() * scale)),
                  QImage::Format_ARGB32_Premultiplied);
    if (canvas.isNull())
        return; // no context: the layer stays as it was
    canvas.setDevicePixelRatio(scale);
    canvas.fill(Qt::transparent);
    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (!layer->image().isNull())
        painter.drawImage(QRectF(0, 0, size.width(), size.height()), layer->image());
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    QPen pen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    QPainterPath path(from);
    path.lineTo(to);
    if (from == to) {
        // A path without length leaves no mark; its round cap is a dot.
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        painter.drawEllipse(from, width / 2, width / 2);
    } else {
        painter.drawPath(path);
    }
    painter.end();
    layer->setImage(canvas);
}

QImage PhotoCanvas::render(CanvasScrollView *scroller)
{
    QGraphicsScene *scene = m_scene;
    if (!scene || !scroller)
        qFatal("Tessivo: the photo editor has no canvas");
    // Pending layouts first, so that the card is drawn as it now reads.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    layout(scroller);
    // The content in the scene's own points, whatever the view's scale.
    const QRectF source(0, 0, scene->sceneRect().width(),
                        scene->sceneRect().height() - scroller->bottomContentInset());
    const qreal scale = scroller->devicePixelRatioF();
    const QSize pixels(qCeil(source.width() * scale), qCeil(source.height() * scale));
    if (pixels.isEmpty())
        return QImage();
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return QImage();
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    scene->render(&painter, QRectF(QPointF(0, 0), source.size()), source, Qt::IgnoreAspectRatio);
    painter.end();
    return image;
}

} // namespace tessivo
