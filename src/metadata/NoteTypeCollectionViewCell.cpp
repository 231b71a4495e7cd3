#include "metadata/NoteTypeCollectionViewCell.h"

#include "metadata/TagView.h"
#include "platform/ContentView.h"

#include "ui_NoteTypeCollectionViewCell.h"

namespace tessivo {

NoteTypeCollectionViewCell::NoteTypeCollectionViewCell(QWidget *parent) : CollectionViewCell(parent)
{
    Ui::NoteTypeCollectionViewCell ui;
    loadContentView(this, ui);
    m_tagView = requireOutlet(ui.tagView, "tagView");
    setCursor(Qt::PointingHandCursor);
}

void NoteTypeCollectionViewCell::setTagString(const QString &text)
{
    m_tagString = text;
    m_tagView->configure(isSelected() ? TagViewStyle::selected : TagViewStyle::fill, text);
}

void NoteTypeCollectionViewCell::setSelected(bool selected)
{
    CollectionViewCell::setSelected(selected);
    if (m_tagView)
        m_tagView->configure(selected ? TagViewStyle::selected : TagViewStyle::fill, m_tagString);
}

QSize NoteTypeCollectionViewCell::sizeHint() const
{
    return {TagView::widthFor(m_tagString), 22};
}

} // namespace tessivo
