#include "metadata/VideoMetadataView.h"

#include "platform/ContentView.h"
#include "platform/Layer.h"

#include "ui_VideoMetadataView.h"

#include <QEvent>
#include <QLayout>
#include <QPainter>

namespace tessivo {

VideoMetadataView::VideoMetadataView(QWidget *parent) : QWidget(parent)
{
    Ui::VideoMetadataView ui;
    m_view = loadContentView(this, ui);
    m_metadataView = requireOutlet(ui.metadataView, "metadataView");
    // The card stands out from the frame as a raised, rounded surface.
    m_metadataView->view()->setAutoFillBackground(false);
    Layer::of(m_metadataView)->setShadow(QPointF(0, 8), 16, 0.08, Qt::black);
    updateCardColor();
}

void VideoMetadataView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ThemeChange)
        updateCardColor();
}

void VideoMetadataView::updateCardColor()
{
    if (m_metadataView)
        Layer::of(m_metadataView)->setBackgroundColor(palette().color(QPalette::Base));
}

void VideoMetadataView::setMetadata(const CaptureInfo &metadata)
{
    m_metadata = metadata;
    m_metadataView->setMetadata(metadata);
}

QImage VideoMetadataView::renderFrame(QSize pixelSize, qreal scale)
{
    if (pixelSize.isEmpty() || scale <= 0)
        return {};
    const QSize logical(qRound(pixelSize.width() / scale), qRound(pixelSize.height() / scale));
    ensurePolished();
    resize(logical);
    // Lay out without showing: activate every layout from the top down.
    const auto widgets = findChildren<QWidget *>();
    if (layout())
        layout()->activate();
    for (QWidget *child : widgets) {
        if (child->layout())
            child->layout()->activate();
    }
    QImage image(pixelSize, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(palette().color(QPalette::Window));
    QPainter painter(&image);
    render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
    painter.end();
    return image;
}

} // namespace tessivo
