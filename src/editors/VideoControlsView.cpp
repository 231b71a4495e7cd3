#include "editors/VideoControlsView.h"

#include "platform/Bundle.h"
#include "platform/ContentView.h"

#include "ui_VideoControlsView.h"

#include <QEvent>
#include <QStyle>

namespace tessivo {
namespace {
constexpr auto kSelectedProperty = "selected";
}

VideoControlsView::VideoControlsView(QWidget *parent) : QWidget(parent)
{
    Ui::VideoControlsView ui;
    m_view = loadContentView(this, ui);
    m_closeButton = requireOutlet(ui.closeButton, "closeButton");
    m_noteButton = requireOutlet(ui.noteButton, "noteButton");
    m_shareButton = requireOutlet(ui.shareButton, "shareButton");
    m_closeButton->setIcon(Bundle::kit().icon(QStringLiteral("bar_close")));
    m_noteButton->setIcon(Bundle::kit().icon(QStringLiteral("bar_note")));
    m_shareButton->setIcon(Bundle::kit().icon(QStringLiteral("bar_share")));
    for (QToolButton *button : {m_closeButton.data(), m_noteButton.data(), m_shareButton.data()}) {
        setSelected(button, false);
        connect(button, &QToolButton::clicked, this, [this, button] { doAction(button); });
    }
    applyColors();
}

ControlsDelegate *VideoControlsView::delegate() const
{
    if (m_delegateIsObject && !m_delegateObject)
        return nullptr;
    return m_delegate;
}

void VideoControlsView::setDelegate(ControlsDelegate *delegate)
{
    m_delegate = delegate;
    m_delegateObject = dynamic_cast<QObject *>(delegate);
    m_delegateIsObject = m_delegateObject != nullptr;
}

bool VideoControlsView::isSelected(const QAbstractButton *button)
{
    return button && button->property(kSelectedProperty).toBool();
}

void VideoControlsView::setSelected(QAbstractButton *button, bool selected)
{
    if (!button)
        return;
    button->setProperty(kSelectedProperty, selected);
    button->style()->unpolish(button);
    button->style()->polish(button);
    button->update();
}

void VideoControlsView::doAction(QToolButton *sender)
{
    ControlsDelegate *d = delegate();
    if (isSelected(sender) && sender != m_closeButton) {
        if (d)
            d->toolDeselected();
        setSelected(sender, false);
        return;
    }
    resetButtons();
    if (d) {
        if (sender == m_noteButton)
            d->noteTapped();
        else if (sender == m_shareButton)
            d->shareTapped();
        else
            d->closeTapped();
    }
    setSelected(sender, !isSelected(sender));
}

void VideoControlsView::resetButtons()
{
    for (QToolButton *button : {m_noteButton.data(), m_shareButton.data(), m_closeButton.data()})
        setSelected(button, false);
}

void VideoControlsView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applyColors();
}

void VideoControlsView::applyColors()
{
    const QColor tint = Bundle::kit().color(QStringLiteral("tagViewSelectedColor"), this).value_or(QColor(91, 76, 240));
    m_view->setStyleSheet(QStringLiteral(
        "QToolButton { border: none; border-radius: 14px; padding: 4px 10px; background: transparent; }"
        "QToolButton:hover { background: rgba(142, 142, 147, 40); }"
        "QToolButton[selected=\"true\"] { background: rgba(%1, %2, %3, 56); }")
                              .arg(tint.red())
                              .arg(tint.green())
                              .arg(tint.blue()));
}

} // namespace tessivo
