#include "photo/ColorCell.h"

#include "platform/ContentView.h"
#include "platform/Layer.h"

#include "ui_ColorCell.h"

#include <QEvent>

namespace tessivo {
namespace {

// The swatch's name for its tooltip.
QString colorName(const std::optional<QColor> &color)
{
    if (!color)
        return {};
    static const QList<std::pair<QRgb, const char *>> names{
        {qRgb(0, 0, 0), "Black"},       {qRgb(255, 255, 255), "White"}, {qRgb(255, 0, 0), "Red"},
        {qRgb(0, 255, 0), "Green"},     {qRgb(0, 0, 255), "Blue"},      {qRgb(255, 255, 0), "Yellow"},
        {qRgb(255, 165, 0), "Orange"},
    };
    for (const auto &[rgb, name] : names) {
        if (color->rgb() == rgb)
            return QString::fromLatin1(name);
    }
    return color->name().toUpper();
}

} // namespace

ColorCell::ColorCell(QWidget *parent) : CollectionViewCell(parent)
{
    Ui::ColorCell ui;
    loadContentView(this, ui);
    m_colorView = requireOutlet(ui.colorView, "colorView");
    m_baseSize = m_colorView->maximumSize();
    m_colorView->installEventFilter(this);
    setCursor(Qt::PointingHandCursor);
    applyLook();
}

void ColorCell::setColor(const std::optional<QColor> &color)
{
    m_color = color;
    setToolTip(colorName(color));
    applyLook();
}

void ColorCell::setSwatchScale(qreal scale)
{
    m_scale = scale;
    const QSize size(qRound(m_baseSize.width() * scale), qRound(m_baseSize.height() * scale));
    m_colorView->setFixedSize(size);
}

QSize ColorCell::sizeHint() const
{
    return {44, 44};
}

void ColorCell::applyLook()
{
    Layer *layer = Layer::of(m_colorView);
    layer->setBackgroundColor(m_color.value_or(QColor()));
    layer->setCornerRadius(m_colorView->width() / 2.0);
    layer->setMasksToBounds(true);
    layer->setBorderWidth(kBorderWidth);
    layer->setBorderColor(borderColor());
}

bool ColorCell::eventFilter(QObject *watched, QEvent *event)
{
    // The circle follows the swatch's size.
    if (watched == m_colorView && event->type() == QEvent::Resize)
        Layer::of(m_colorView)->setCornerRadius(m_colorView->width() / 2.0);
    return CollectionViewCell::eventFilter(watched, event);
}

} // namespace tessivo
