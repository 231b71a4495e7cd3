// A text annotation on the canvas: a box that holds its text view
// (AnnotateTextView) filling it. Setting the tag gives the text view the
// same tag, so that a text view leads back to its annotation.
#pragma once

#include "photo/AnnotateTextView.h"
#include "photo/CanvasObjectItem.h"

#include <QPointer>

namespace tessivo {

class TESSIVO_EXPORT AnnotateView : public CanvasObjectItem
{
    Q_OBJECT
public:
    /// The height of a new, one-line annotation.
    static constexpr qreal kHeight = 35;

    explicit AnnotateView(const QRectF &frame = QRectF(), QGraphicsItem *parent = nullptr);

    AnnotateTextView *textView() const { return m_textView; }
    void setTag(int tag) override;
    /// Takes the text view's size as its own bounds ("layout").
    void fitToTextView();

    void paint(QPainter *, const QStyleOptionGraphicsItem *, QWidget *) override {}

protected:
    void boundsChanged() override;

private:
    QPointer<AnnotateTextView> m_textView;
};

} // namespace tessivo
