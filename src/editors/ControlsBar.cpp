#include "editors/ControlsBar.h"

#include "platform/Bundle.h"

#include <QEvent>
#include <QStyle>

#include <algorithm>

namespace tessivo {
namespace {
constexpr auto kSelectedProperty = "selected";
}

ControlsBar::ControlsBar(QWidget *parent) : QWidget(parent) {}

ControlsDelegate *ControlsBar::delegate() const
{
    return m_delegate.get();
}

void ControlsBar::setDelegate(ControlsDelegate *delegate)
{
    m_delegate.set(delegate);
}

bool ControlsBar::isSelected(const QAbstractButton *button)
{
    return button && button->property(kSelectedProperty).toBool();
}

void ControlsBar::setSelected(QAbstractButton *button, bool selected)
{
    if (!button)
        return;
    button->setProperty(kSelectedProperty, selected);
    button->style()->unpolish(button);
    button->style()->polish(button);
    button->update();
}

void ControlsBar::press(QAbstractButton *sender, QAbstractButton *closeButton,
                        const QList<QAbstractButton *> &buttons, const QList<Operation> &operations)
{
    ControlsDelegate *d = delegate();
    if (isSelected(sender) && sender != closeButton) {
        if (d)
            d->toolDeselected();
        setSelected(sender, false);
        return;
    }
    clearSelection(buttons);
    if (d) {
        auto match = std::find_if(operations.cbegin(), operations.cend(),
                                  [sender](const Operation &op) { return op.button == sender; });
        if (match != operations.cend())
            (d->*(match->send))();
        else
            d->closeTapped();
    }
    setSelected(sender, !isSelected(sender));
}

void ControlsBar::clearSelection(const QList<QAbstractButton *> &buttons)
{
    for (QAbstractButton *button : buttons)
        setSelected(button, false);
}

void ControlsBar::setButtonContent(QWidget *content)
{
    m_buttonContent = content;
    applyColors();
}

void ControlsBar::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applyColors();
}

void ControlsBar::applyColors()
{
    if (!m_buttonContent)
        return;
    const QColor tint = Bundle::kit().color(QStringLiteral("tagViewSelectedColor"), this).value_or(QColor(91, 76, 240));
    m_buttonContent->setStyleSheet(QStringLiteral(
        "QToolButton { border: none; border-radius: 14px; padding: 4px 10px; background: transparent; }"
        "QToolButton:hover { background: rgba(142, 142, 147, 40); }"
        "QToolButton[selected=\"true\"] { background: rgba(%1, %2, %3, 56); }")
                                       .arg(tint.red())
                                       .arg(tint.green())
                                       .arg(tint.blue()));
}

} // namespace tessivo
