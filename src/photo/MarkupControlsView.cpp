#include "photo/MarkupControlsView.h"

#include "platform/Bundle.h"
#include "platform/ContentView.h"

#include "ui_MarkupControlsView.h"

namespace tessivo {

MarkupControlsView::MarkupControlsView(QWidget *parent) : ColorControlsView(parent)
{
    Ui::MarkupControlsView ui;
    QWidget *content = loadContentView(this, ui);
    setUp(content, requireOutlet(ui.collectionView, "collectionView"), requireOutlet(ui.backButton, "backButton"));
    m_clearButton = requireOutlet(ui.clearButton, "clearButton");
    m_clearButton->setIcon(Bundle::kit().icon(QStringLiteral("bar_clear")));
    connect(m_clearButton, &QToolButton::clicked, this, &MarkupControlsView::clearAll);
}

void MarkupControlsView::colorSelected(const QColor &color)
{
    if (MarkupControlsDelegate *d = delegate())
        d->didSelectColor(color);
}

void MarkupControlsView::backPressed()
{
    if (MarkupControlsDelegate *d = delegate())
        d->back();
}

void MarkupControlsView::clearAll()
{
    if (MarkupControlsDelegate *d = delegate())
        d->clearDrawing();
}

} // namespace tessivo
