// The photo editor's canvas scroller: a graphics view without scroll bars
// or frame whose vertical position is the content offset. Scrolling is the
// editor's (its pan recogniser and the wheel), not the view's own.
#pragma once

#include "tessivo_export.h"

#include <QGraphicsView>
#include <QPointer>

class QVariantAnimation;

namespace tessivo {

class TESSIVO_EXPORT CanvasScrollView : public QGraphicsView
{
    Q_OBJECT
public:
    static constexpr int kScrollAnimationMs = 300;

    explicit CanvasScrollView(QWidget *parent = nullptr);

    /// The vertical content offset, in scene points from the top.
    qreal contentOffsetY() const;
    /// Moves the content; an offset beyond the content is clamped to it.
    void setContentOffset(QPointF offset, bool animated);
    /// The height of the content and of the visible area.
    qreal contentHeight() const;
    qreal boundsHeight() const;
    /// Space kept below the content.
    qreal bottomContentInset() const { return m_bottomInset; }
    void setBottomContentInset(qreal inset) { m_bottomInset = inset; }
    bool isScrollAnimating() const;

    /// Whether the view takes input (off: events fall through to the
    /// widget underneath).
    bool isUserInteractionEnabled() const;
    void setUserInteractionEnabled(bool enabled);

Q_SIGNALS:
    /// A wheel turn over the canvas, in points (positive scrolls down).
    void wheelScrolled(qreal dy);

protected:
    void wheelEvent(QWheelEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    QPointer<QVariantAnimation> m_animation;
    qreal m_bottomInset = 0;
};

} // namespace tessivo
