#include "photo/AnnotateControlsView.h"

#include "platform/Bundle.h"
#include "platform/ContentView.h"

#include "ui_AnnotateControlsView.h"

namespace tessivo {

AnnotateControlsView::AnnotateControlsView(QWidget *parent) : ColorControlsView(parent)
{
    Ui::AnnotateControlsView ui;
    QWidget *content = loadContentView(this, ui);
    setUp(content, requireOutlet(ui.collectionView, "collectionView"), requireOutlet(ui.backButton, "backButton"));
}

void AnnotateControlsView::colorSelected(const QColor &color)
{
    if (AnnotateControlsDelegate *d = delegate())
        d->didSelectColor(color);
}

void AnnotateControlsView::backPressed()
{
    if (AnnotateControlsDelegate *d = delegate())
        d->back();
}

} // namespace tessivo
