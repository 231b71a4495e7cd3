#include "metadata/TagView.h"

#include "platform/Bundle.h"
#include "platform/ContentView.h"
#include "platform/Layer.h"

#include "ui_TagView.h"

#include <QEvent>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QLabel>

#include <cmath>

namespace tessivo {
namespace {

QColor namedColor(const char *name, const QWidget *widget)
{
    // An unknown name yields no colour (an invalid QColor).
    return Bundle::kit().color(QString::fromLatin1(name), widget).value_or(QColor());
}

void setTextColor(QLabel *label, const QColor &color)
{
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
}

} // namespace

TagView::TagView(QWidget *parent) : QWidget(parent)
{
    Ui::TagView ui;
    m_view = loadContentView(this, ui);
    m_textLabel = requireOutlet(ui.textLabel, "textLabel");
    m_textLabel->setFont(font());
}

QFont TagView::font()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(11);
    font.setWeight(QFont::DemiBold);
    return font;
}

int TagView::widthFor(const QString &text)
{
    return static_cast<int>(std::ceil(QFontMetricsF(font()).horizontalAdvance(text))) + 18;
}

QString TagView::text() const
{
    return m_textLabel ? m_textLabel->text() : QString();
}

void TagView::configure(TagViewStyle style, const QString &text)
{
    m_currentStyle = style;
    if (m_textLabel)
        m_textLabel->setText(text);
    applyStyle(style);
}

void TagView::applyStyle(TagViewStyle style)
{
    if (!m_view || !m_textLabel)
        return;
    Layer *layer = Layer::of(m_view);
    switch (style) {
    case TagViewStyle::fill:
        layer->setBackgroundColor(namedColor("tagViewBackgroundColor", this));
        layer->setBorderWidth(0);
        layer->setBorderColor(Qt::transparent);
        setTextColor(m_textLabel, namedColor("tagViewTextColor", this));
        break;
    case TagViewStyle::outline:
        // The text keeps whatever colour it has: the form's, or the one an
        // earlier style left.
        layer->setBackgroundColor(QColor());
        layer->setBorderWidth(1);
        layer->setBorderColor(namedColor("tagViewBorderColor", this));
        break;
    case TagViewStyle::selected:
        layer->setBackgroundColor(namedColor("tagViewSelectedColor", this));
        layer->setBorderWidth(0);
        layer->setBorderColor(Qt::transparent);
        setTextColor(m_textLabel, namedColor("tagViewSelectedTextColor", this));
        break;
    }
}

void TagView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ThemeChange)
        configure(m_currentStyle, text());
}

} // namespace tessivo
