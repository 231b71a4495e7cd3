#include "platform/VisualEffectView.h"

#include <QGraphicsBlurEffect>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QPainter>

namespace tessivo {
namespace {

QImage blurred(const QImage &source, qreal radius)
{
    QGraphicsScene scene;
    auto *item = new QGraphicsPixmapItem(QPixmap::fromImage(source));
    auto *blur = new QGraphicsBlurEffect;
    blur->setBlurRadius(radius);
    blur->setBlurHints(QGraphicsBlurEffect::PerformanceHint);
    item->setGraphicsEffect(blur);
    scene.addItem(item);
    QImage out(source.size(), QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter painter(&out);
    scene.render(&painter, QRectF(), QRectF(QPointF(0, 0), source.size()));
    return out;
}

} // namespace

VisualEffectView::VisualEffectView(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

QColor VisualEffectView::tint(BlurEffectStyle style)
{
    switch (style) {
    case BlurEffectStyle::extraLight:
        return QColor(255, 255, 255, 200);
    case BlurEffectStyle::light:
        return QColor(246, 246, 248, 170);
    case BlurEffectStyle::dark:
        return QColor(22, 22, 26, 185);
    }
    return {};
}

void VisualEffectView::setEffect(BlurEffectStyle style)
{
    m_style = style;
    update();
}

void VisualEffectView::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    captureBackdrop();
}

void VisualEffectView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (isVisible())
        captureBackdrop();
}

// What lies behind is the window's content as it was when the backdrop was
// shown, scaled down, blurred and scaled back up: cheap enough to redo on a
// resize, and the backdrop does not follow changes below it.
void VisualEffectView::captureBackdrop()
{
    QWidget *top = window();
    if (m_capturing || !top || top == this)
        return;
    m_capturing = true;
    // The window and its children, but not the screen this backdrop is in.
    QImage content(top->size(), QImage::Format_ARGB32_Premultiplied);
    content.fill(top->palette().color(QPalette::Window));
    {
        QPainter painter(&content);
        top->render(&painter, QPoint(), QRegion(), QWidget::DrawWindowBackground);
        for (QWidget *child : top->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
            if (child->isVisible() && !child->isAncestorOf(this) && child != this)
                child->render(&painter, child->pos(), QRegion(),
                              QWidget::DrawWindowBackground | QWidget::DrawChildren);
        }
    }
    const QRect mine(mapTo(top, QPoint(0, 0)), size());
    const QImage small = content.copy(mine).scaled(std::max(1, width() / 4), std::max(1, height() / 4),
                                                   Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    m_backdrop = blurred(small, 6).scaled(size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    m_capturing = false;
}

void VisualEffectView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (!m_backdrop.isNull())
        painter.drawImage(rect(), m_backdrop);
    painter.fillRect(rect(), tint(m_style));
}

} // namespace tessivo
