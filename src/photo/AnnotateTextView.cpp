#include "photo/AnnotateTextView.h"

#include <QAbstractTextDocumentLayout>
#include <QPainter>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextOption>

#include <algorithm>

namespace tessivo {

AnnotateTextView::AnnotateTextView(QGraphicsItem *parent) : QGraphicsTextItem(parent)
{
    QFont face = font();
    face.setWeight(QFont::Bold);
    setFont(face);
    setFontSize(kFontSize);
    QTextOption option = document()->defaultTextOption();
    option.setAlignment(Qt::AlignHCenter);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document()->setDefaultTextOption(option);
    document()->setDocumentMargin(4);
    setEditable(true);
    connect(document(), &QTextDocument::contentsChanged, this, [this] { Q_EMIT didChange(this); });
}

void AnnotateTextView::setBackgroundColor(const QColor &color)
{
    m_background = color;
    update();
}

void AnnotateTextView::setTintColor(const QColor &color)
{
    m_tint = color;
    update();
}

void AnnotateTextView::setTextColor(const QColor &color)
{
    setDefaultTextColor(color);
    // Text typed so far carries its own colour: recolour all of it.
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    QTextCharFormat format;
    format.setForeground(color);
    const bool blocked = document()->blockSignals(true);
    all.mergeCharFormat(format);
    document()->blockSignals(blocked);
    QTextCursor caret = textCursor();
    QTextCharFormat typing = caret.charFormat();
    typing.setForeground(color);
    caret.setCharFormat(typing);
    setTextCursor(caret);
    update();
}

bool AnnotateTextView::isEditable() const
{
    return textInteractionFlags() & Qt::TextEditable;
}

void AnnotateTextView::setEditable(bool editable)
{
    setTextInteractionFlags(editable ? Qt::TextEditorInteraction : Qt::NoTextInteraction);
}

void AnnotateTextView::becomeFirstResponder()
{
    setEditable(true);
    setFocus(Qt::OtherFocusReason);
}

void AnnotateTextView::resignFirstResponder()
{
    clearFocus();
}

qreal AnnotateTextView::heightThatFits(qreal width)
{
    setTextWidth(width);
    return document()->size().height();
}

QSizeF AnnotateTextView::sizeThatFits(qreal maximumWidth)
{
    setTextWidth(-1);
    const qreal natural = document()->idealWidth() + 2 * document()->documentMargin();
    setTextWidth(std::min(natural, maximumWidth));
    return document()->size();
}

void AnnotateTextView::setFontSize(qreal pixels)
{
    // Sizes are pixels of the canvas, not typographic points, which would
    // grow with the screen's dots per inch. The fraction is kept so that a
    // slow pinch still adds up.
    m_fontSize = pixels;
    QFont face = font();
    face.setPixelSize(std::max(1, qRound(pixels)));
    setTextFont(face);
}

void AnnotateTextView::setTextFont(const QFont &face)
{
    setFont(face);
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    QTextCharFormat format;
    format.setFont(face);
    const bool blocked = document()->blockSignals(true);
    all.mergeCharFormat(format);
    document()->blockSignals(blocked);
}

void AnnotateTextView::paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget)
{
    if (m_background.alpha() > 0)
        painter->fillRect(boundingRect(), m_background);
    QGraphicsTextItem::paint(painter, option, widget);
}

void AnnotateTextView::focusInEvent(QFocusEvent *event)
{
    QGraphicsTextItem::focusInEvent(event);
    if (inputAccessoryView)
        inputAccessoryView->show();
    Q_EMIT didBeginEditing(this);
}

void AnnotateTextView::focusOutEvent(QFocusEvent *event)
{
    QGraphicsTextItem::focusOutEvent(event);
    if (inputAccessoryView)
        inputAccessoryView->hide();
    Q_EMIT didEndEditing(this);
}

} // namespace tessivo
