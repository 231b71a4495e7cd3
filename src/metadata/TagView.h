// The small pill-shaped label used for note types and for the device, OS
// and app version tags. Its colours are the kit's named colours, so they
// follow light and dark appearance.
#pragma once

#include "metadata/TagViewStyle.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QWidget>

#include <QLabel>

namespace tessivo {

class TESSIVO_EXPORT TagView : public QWidget
{
    Q_OBJECT
public:
    explicit TagView(QWidget *parent = nullptr);

    /// Sets the style and the text, then applies the style.
    void configure(TagViewStyle style, const QString &text);

    TagViewStyle currentStyle() const { return m_currentStyle; }
    QString text() const;

    /// Root of the loaded form: it carries the background and border.
    QWidget *view() const { return m_view; }
    QLabel *textLabel() const { return m_textLabel; }

    /// The font tags are measured and drawn with: the system font, 11 px,
    /// semibold.
    static QFont font();
    /// A tag's width for a text: the text's width in font() plus 18.
    static int widthFor(const QString &text);

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyStyle(TagViewStyle style);

    QPointer<QWidget> m_view;
    QPointer<QLabel> m_textLabel;
    TagViewStyle m_currentStyle = TagViewStyle::fill;
};

} // namespace tessivo
