#include "photo/ControlsView.h"

#include "platform/Bundle.h"
#include "platform/ContentView.h"

#include "ui_ControlsView.h"

namespace tessivo {

ControlsView::ControlsView(QWidget *parent) : ControlsBar(parent)
{
    Ui::ControlsView ui;
    m_view = loadContentView(this, ui);
    m_noteButton = requireOutlet(ui.noteButton, "noteButton");
    m_markupButton = requireOutlet(ui.markupButton, "markupButton");
    m_annotateButton = requireOutlet(ui.annotateButton, "annotateButton");
    m_stickersButton = requireOutlet(ui.stickersButton, "stickersButton");
    m_shareButton = requireOutlet(ui.shareButton, "shareButton");
    m_closeButton = requireOutlet(ui.closeButton, "closeButton");
    const std::pair<QToolButton *, const char *> icons[] = {
        {m_noteButton, "bar_note"},         {m_markupButton, "bar_markup"}, {m_annotateButton, "bar_annotate"},
        {m_stickersButton, "bar_stickers"}, {m_shareButton, "bar_share"},   {m_closeButton, "bar_close"},
    };
    for (const auto &[button, icon] : icons) {
        button->setIcon(Bundle::kit().icon(QString::fromLatin1(icon)));
        setSelected(button, false);
        connect(button, &QToolButton::clicked, this, [this, button = button] { doAction(button); });
    }
    setButtonContent(m_view);
}

QList<QAbstractButton *> ControlsView::buttons() const
{
    return {m_noteButton, m_markupButton, m_annotateButton, m_stickersButton, m_shareButton, m_closeButton};
}

void ControlsView::doAction(QToolButton *sender)
{
    press(sender, m_closeButton, buttons(),
          {{m_noteButton, &ControlsDelegate::noteTapped},
           {m_markupButton, &ControlsDelegate::markupTapped},
           {m_annotateButton, &ControlsDelegate::annotateTapped},
           {m_stickersButton, &ControlsDelegate::stickersTapped},
           {m_shareButton, &ControlsDelegate::shareTapped}});
}

void ControlsView::resetButtons()
{
    clearSelection(buttons());
}

} // namespace tessivo
