#include "photo/AnnotateView.h"

#include "platform/ContentView.h"

namespace tessivo {

AnnotateView::AnnotateView(const QRectF &frame, QGraphicsItem *parent) : CanvasObjectItem(parent)
{
    m_textView = requireOutlet(new AnnotateTextView(this), "textView");
    setFrame(frame);
    boundsChanged();
}

void AnnotateView::setTag(int tag)
{
    CanvasObjectItem::setTag(tag);
    if (m_textView)
        m_textView->setTag(tag);
}

void AnnotateView::boundsChanged()
{
    // The text view fills the box: it wraps at the box's width.
    if (!m_textView)
        return;
    m_textView->setTextWidth(boundsSize().width());
    m_textView->setPos(bounds().topLeft());
}

void AnnotateView::fitToTextView()
{
    const QSizeF size(m_textView->textWidth() > 0 ? m_textView->textWidth() : m_textView->size().width(),
                      m_textView->size().height());
    setBoundsSize(size);
    m_textView->setPos(bounds().topLeft());
}

} // namespace tessivo
