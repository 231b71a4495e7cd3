// The text of an annotation: an editable text item with a background
// colour (the editing highlight), a tint (the caret's colour), a tag that
// traces it back to its annotation, and the accessory bar shown above the
// keyboard while it is edited. The editor follows it through its signals.
#pragma once

#include "tessivo_export.h"

#include <QColor>
#include <QFont>
#include <QGraphicsTextItem>
#include <QPointer>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT AnnotateTextView : public QGraphicsTextItem
{
    Q_OBJECT
public:
    static constexpr qreal kFontSize = 22;

    explicit AnnotateTextView(QGraphicsItem *parent = nullptr);

    int tag() const { return m_tag; }
    void setTag(int tag) { m_tag = tag; }

    QColor backgroundColor() const { return m_background; }
    void setBackgroundColor(const QColor &color);
    QColor tintColor() const { return m_tint; }
    void setTintColor(const QColor &color);
    /// Text colour of the whole text, typed or still to be typed.
    void setTextColor(const QColor &color);

    bool isEditable() const;
    /// Editable and selectable, or neither.
    void setEditable(bool editable);

    QPointer<QWidget> inputAccessoryView;

    /// Takes the keyboard focus (the keyboard opens) / gives it up.
    void becomeFirstResponder();
    void resignFirstResponder();
    bool isFirstResponder() const { return hasFocus(); }

    QSizeF size() const { return boundingRect().size(); }
    /// Sets the width the text wraps at and returns the height it needs.
    qreal heightThatFits(qreal width);
    /// The size the text needs on one line, wrapping only beyond
    /// `maximumWidth` ("intrinsic content size").
    QSizeF sizeThatFits(qreal maximumWidth);

    QFont textFont() const { return font(); }
    void setTextFont(const QFont &font);
    /// The text's size in pixels of the canvas.
    qreal fontSize() const { return m_fontSize; }
    void setFontSize(qreal pixels);

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

Q_SIGNALS:
    void didBeginEditing(tessivo::AnnotateTextView *textView);
    void didChange(tessivo::AnnotateTextView *textView);
    void didEndEditing(tessivo::AnnotateTextView *textView);

protected:
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    int m_tag = 0;
    qreal m_fontSize = kFontSize;
    QColor m_background = Qt::transparent;
    QColor m_tint;
};

} // namespace tessivo
