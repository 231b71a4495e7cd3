#include "editors/VideoControlsView.h"

#include "platform/Bundle.h"
#include "platform/ContentView.h"

#include "ui_VideoControlsView.h"

namespace tessivo {

VideoControlsView::VideoControlsView(QWidget *parent) : ControlsBar(parent)
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
    setButtonContent(m_view);
}

void VideoControlsView::doAction(QToolButton *sender)
{
    press(sender, m_closeButton, {m_noteButton, m_shareButton, m_closeButton},
          {{m_noteButton, &ControlsDelegate::noteTapped}, {m_shareButton, &ControlsDelegate::shareTapped}});
}

void VideoControlsView::resetButtons()
{
    clearSelection({m_noteButton, m_shareButton, m_closeButton});
}

} // namespace tessivo
