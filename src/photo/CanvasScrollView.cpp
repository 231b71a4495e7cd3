#include "photo/CanvasScrollView.h"

#include <QScrollBar>
#include <QVariantAnimation>
#include <QWheelEvent>

namespace tessivo {

CanvasScrollView::CanvasScrollView(QWidget *parent) : QGraphicsView(parent)
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setDragMode(QGraphicsView::NoDrag);
    setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform | QPainter::TextAntialiasing);
    setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    setTransformationAnchor(QGraphicsView::NoAnchor);
    setResizeAnchor(QGraphicsView::NoAnchor);
}

qreal CanvasScrollView::contentOffsetY() const
{
    return verticalScrollBar()->value();
}

void CanvasScrollView::setContentOffset(QPointF offset, bool animated)
{
    if (m_animation)
        m_animation->stop();
    const int target = qRound(offset.y());
    if (!animated || !isVisible()) {
        verticalScrollBar()->setValue(target);
        return;
    }
    auto *animation = new QVariantAnimation(this);
    animation->setDuration(kScrollAnimationMs);
    animation->setEasingCurve(QEasingCurve::OutCubic);
    animation->setStartValue(verticalScrollBar()->value());
    animation->setEndValue(target);
    connect(animation, &QVariantAnimation::valueChanged, this,
            [this](const QVariant &value) { verticalScrollBar()->setValue(value.toInt()); });
    m_animation = animation;
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

bool CanvasScrollView::isScrollAnimating() const
{
    return m_animation && m_animation->state() == QAbstractAnimation::Running;
}

qreal CanvasScrollView::contentHeight() const
{
    return scene() ? scene()->sceneRect().height() - m_bottomInset : 0.0;
}

qreal CanvasScrollView::boundsHeight() const
{
    return viewport()->height();
}

bool CanvasScrollView::isUserInteractionEnabled() const
{
    return !testAttribute(Qt::WA_TransparentForMouseEvents);
}

void CanvasScrollView::setUserInteractionEnabled(bool enabled)
{
    setAttribute(Qt::WA_TransparentForMouseEvents, !enabled);
    viewport()->setAttribute(Qt::WA_TransparentForMouseEvents, !enabled);
}

void CanvasScrollView::wheelEvent(QWheelEvent *event)
{
    // Ctrl and Shift turn the wheel into a pinch and a rotation of the
    // object under the pointer: the canvas stays put.
    if (event->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier)) {
        event->accept();
        return;
    }
    const QPoint pixels = event->pixelDelta();
    const qreal dy = !pixels.isNull() ? -pixels.y() : -event->angleDelta().y() / 120.0 * 48.0;
    Q_EMIT wheelScrolled(dy);
    event->accept();
}

void CanvasScrollView::scrollContentsBy(int dx, int dy)
{
    QGraphicsView::scrollContentsBy(dx, dy);
    // The whole visible canvas moves; nothing is scrolled pixel by pixel.
    viewport()->update();
}

} // namespace tessivo
