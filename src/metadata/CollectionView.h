// A single-row collection of cell widgets, laid out left to right with the
// sizes and insets its data source gives. Cells are made by factories
// registered under reuse identifiers; a tap selects or deselects an item.
#pragma once

#include "metadata/CollectionViewCell.h"
#include "tessivo_export.h"

#include <QHash>
#include <QList>
#include <QMargins>
#include <QPointer>
#include <QSet>
#include <QWidget>

#include <functional>

namespace tessivo {

class TESSIVO_EXPORT CollectionView : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(bool allowsSelection READ allowsSelection WRITE setAllowsSelection)
    Q_PROPERTY(bool allowsMultipleSelection READ allowsMultipleSelection WRITE setAllowsMultipleSelection)
    Q_PROPERTY(int interitemSpacing READ interitemSpacing WRITE setInteritemSpacing)
public:
    using CellFactory = std::function<CollectionViewCell *(QWidget *parent)>;

    /// What the view asks its owner; unset functions give no items, the
    /// cell's own size hint and zero insets.
    struct DataSource {
        std::function<int()> numberOfItems;
        std::function<CollectionViewCell *(int index)> cellForItem;
        std::function<QSize(int index)> sizeForItem;
        std::function<QMargins()> insetForSection;
    };

    explicit CollectionView(QWidget *parent = nullptr);

    void registerCell(const QString &reuseIdentifier, CellFactory factory);
    /// A new cell from the factory registered under the identifier. An
    /// unregistered identifier is a programming error.
    CollectionViewCell *dequeueReusableCell(const QString &reuseIdentifier, int index);

    void setDataSource(DataSource dataSource);
    /// Asks the data source again for every item; selection is cleared
    /// first, so cellForItem may select items again.
    void reloadData();

    int numberOfItems() const { return static_cast<int>(m_cells.size()); }
    /// The cell shown for an item, null when there is none.
    CollectionViewCell *cellForItem(int index) const;

    bool allowsSelection() const { return m_allowsSelection; }
    void setAllowsSelection(bool allows) { m_allowsSelection = allows; }
    bool allowsMultipleSelection() const { return m_allowsMultipleSelection; }
    void setAllowsMultipleSelection(bool allows) { m_allowsMultipleSelection = allows; }
    int interitemSpacing() const { return m_spacing; }
    void setInteritemSpacing(int spacing);

    /// Selects an item without telling the delegate (as a program would).
    void selectItem(int index);
    void deselectItem(int index);
    bool isItemSelected(int index) const { return m_selected.contains(index); }
    QList<int> selectedItems() const;

    /// What a tap on the item does: selects it (deselecting the others when
    /// only one may be selected) or, with multiple selection, deselects a
    /// selected item. Emits the matching signals.
    void tapItem(int index);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    void didSelectItem(int index);
    void didDeselectItem(int index);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void layoutCells();
    QSize itemSize(int index) const;

    QHash<QString, CellFactory> m_factories;
    DataSource m_dataSource;
    QList<QPointer<CollectionViewCell>> m_cells;
    QSet<int> m_selected;
    bool m_allowsSelection = true;
    bool m_allowsMultipleSelection = false;
    int m_spacing = 8;
};

} // namespace tessivo
