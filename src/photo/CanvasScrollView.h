// The photo editor's canvas scroller: a graphics view without scroll bars
// or frame whose vertical position is the content offset, in the view's
// points. Scrolling is the editor's (its pan recogniser, the wheel and the
// scrolling keys), not the view's own; a thin indicator at the right edge
// shows where the visible part lies in the content.
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
    /// How large the content is shown (content points per scene point);
    /// the content is centred when narrower than the view.
    qreal contentScale() const { return m_scale; }
    void setContentScale(qreal scale);
    /// The height of the content (as shown) and of the visible area.
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
    /// A wheel turn or a scrolling key over the canvas, in points
    /// (positive scrolls down).
    void scrollRequested(qreal dy);

protected:
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    QPointer<QVariantAnimation> m_animation;
    qreal m_bottomInset = 0;
    qreal m_scale = 1;
};

} // namespace tessivo
