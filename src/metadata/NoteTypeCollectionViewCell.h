// The note-type cell: a tag that shows the fill style, or the selected
// style while the cell is selected.
#pragma once

#include "metadata/CollectionViewCell.h"
#include "metadata/TagView.h"
#include "tessivo_export.h"

#include <QPointer>

namespace tessivo {



class TESSIVO_EXPORT NoteTypeCollectionViewCell : public CollectionViewCell
{
    Q_OBJECT
public:
    static constexpr auto kReuseIdentifier = "noteTypeIdentifier";

    explicit NoteTypeCollectionViewCell(QWidget *parent = nullptr);

    TagView *tagView() const { return m_tagView; }
    QString tagString() const { return m_tagString; }
    /// Sets the text and shows it in the fill (or, when selected, the
    /// selected) style.
    void setTagString(const QString &text);

    void setSelected(bool selected) override;
    QSize sizeHint() const override;

private:
    QPointer<TagView> m_tagView;
    QString m_tagString;
};

} // namespace tessivo
