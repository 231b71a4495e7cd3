#include "photo/CanvasScrollView.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>
#include <QVariantAnimation>
#include <QWheelEvent>

namespace tessivo {

CanvasScrollView::CanvasScrollView(QWidget *parent) : QGraphicsView(parent)
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAlignment(Qt::AlignHCenter | Qt::AlignTop);
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

void CanvasScrollView::setContentScale(qreal scale)
{
    if (scale <= 0 || qFuzzyCompare(scale, m_scale))
        return;
    m_scale = scale;
    setTransform(QTransform::fromScale(scale, scale));
}

qreal CanvasScrollView::contentHeight() const
{
    return scene() ? (scene()->sceneRect().height() - m_bottomInset) * m_scale : 0.0;
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
    Q_EMIT scrollRequested(dy);
    event->accept();
}

void CanvasScrollView::keyPressEvent(QKeyEvent *event)
{
    // The text being edited on the canvas takes its keys first.
    if (scene() && isInteractive()) {
        event->accept();
        QCoreApplication::sendEvent(scene(), event);
        if (event->isAccepted())
            return;
    }
    const qreal line = 48;
    const qreal page = std::max<qreal>(line, viewport()->height() - line);
    qreal dy = 0;
    switch (event->key()) {
    case Qt::Key_Down:
        dy = line;
        break;
    case Qt::Key_Up:
        dy = -line;
        break;
    case Qt::Key_PageDown:
        dy = page;
        break;
    case Qt::Key_PageUp:
        dy = -page;
        break;
    case Qt::Key_Space:
        dy = event->modifiers() & Qt::ShiftModifier ? -page : page;
        break;
    case Qt::Key_Home:
        dy = -contentHeight();
        break;
    case Qt::Key_End:
        dy = contentHeight();
        break;
    default:
        event->ignore();
        return;
    }
    // Like the wheel, the keys ask the editor, which keeps the bounds.
    Q_EMIT scrollRequested(dy);
    event->accept();
}

void CanvasScrollView::paintEvent(QPaintEvent *event)
{
    QGraphicsView::paintEvent(event);
    const qreal content = contentHeight();
    const qreal bounds = boundsHeight();
    if (content <= bounds + 1 || bounds <= 0)
        return;
    const qreal inset = 3;
    const qreal track = bounds - 2 * inset;
    const qreal thumb = std::max<qreal>(36, track * bounds / content);
    const qreal range = std::max<qreal>(1, content - bounds);
    const qreal y = inset + (track - thumb) * std::clamp(contentOffsetY() / range, 0.0, 1.0);
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(255, 255, 255, 150), 1));
    painter.setBrush(QColor(0, 0, 0, 110));
    painter.drawRoundedRect(QRectF(viewport()->width() - inset - 5, y, 5, thumb), 2.5, 2.5);
}

void CanvasScrollView::scrollContentsBy(int dx, int dy)
{
    QGraphicsView::scrollContentsBy(dx, dy);
    // The whole visible canvas moves; nothing is scrolled pixel by pixel.
    viewport()->update();
}

} // namespace tessivo
