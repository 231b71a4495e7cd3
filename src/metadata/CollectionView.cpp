#include "metadata/CollectionView.h"

#include <QResizeEvent>

#include <algorithm>

namespace tessivo {

CollectionView::CollectionView(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void CollectionView::registerCell(const QString &reuseIdentifier, CellFactory factory)
{
    m_factories.insert(reuseIdentifier, std::move(factory));
}

CollectionViewCell *CollectionView::dequeueReusableCell(const QString &reuseIdentifier, int index)
{
    // Cells are made afresh on every reload, so there is nothing to reuse
    // and the index does not matter yet.
    Q_UNUSED(index)
    const auto factory = m_factories.constFind(reuseIdentifier);
    if (factory == m_factories.cend())
        qFatal("Tessivo: no cell registered for reuse identifier '%s'", qPrintable(reuseIdentifier));
    CollectionViewCell *cell = (*factory)(this);
    if (!cell)
        qFatal("Tessivo: the cell factory for '%s' made no cell", qPrintable(reuseIdentifier));
    connect(cell, &CollectionViewCell::tapped, this, [this, cell] {
        const int at = static_cast<int>(m_cells.indexOf(cell));
        if (at >= 0)
            tapItem(at);
    });
    return cell;
}

void CollectionView::setDataSource(DataSource dataSource)
{
    m_dataSource = std::move(dataSource);
}

void CollectionView::reloadData()
{
    for (const auto &cell : std::as_const(m_cells)) {
        if (cell) {
            cell->hide();
            cell->deleteLater();
        }
    }
    m_cells.clear();
    m_selected.clear();
    const int count = m_dataSource.numberOfItems ? m_dataSource.numberOfItems() : 0;
    for (int i = 0; i < count; ++i) {
        // The list holds the cells made so far, so cellForItem may select.
        m_cells.append(nullptr);
        CollectionViewCell *cell = m_dataSource.cellForItem ? m_dataSource.cellForItem(i) : nullptr;
        if (cell) {
            cell->setParent(this);
            cell->setSelected(cell->isSelected() || m_selected.contains(i));
            cell->show();
        }
        m_cells[i] = cell;
        if (cell && cell->isSelected())
            m_selected.insert(i);
    }
    layoutCells();
    updateGeometry();
}

CollectionViewCell *CollectionView::cellForItem(int index) const
{
    if (index < 0 || index >= m_cells.size())
        return nullptr;
    return m_cells.at(index);
}

void CollectionView::setInteritemSpacing(int spacing)
{
    m_spacing = std::max(0, spacing);
    layoutCells();
}

void CollectionView::selectItem(int index)
{
    if (index < 0 || index >= m_cells.size())
        return;
    if (!m_allowsMultipleSelection) {
        const auto others = m_selected;
        for (int other : others) {
            if (other != index)
                deselectItem(other);
        }
    }
    m_selected.insert(index);
    if (CollectionViewCell *cell = m_cells.at(index))
        cell->setSelected(true);
}

void CollectionView::deselectItem(int index)
{
    m_selected.remove(index);
    if (CollectionViewCell *cell = cellForItem(index))
        cell->setSelected(false);
}

QList<int> CollectionView::selectedItems() const
{
    QList<int> items(m_selected.cbegin(), m_selected.cend());
    std::sort(items.begin(), items.end());
    return items;
}

void CollectionView::tapItem(int index)
{
    if (!m_allowsSelection || index < 0 || index >= m_cells.size())
        return;
    if (m_selected.contains(index)) {
        if (!m_allowsMultipleSelection)
            return;
        deselectItem(index);
        Q_EMIT didDeselectItem(index);
        return;
    }
    const QList<int> previous = selectedItems();
    selectItem(index);
    if (!m_allowsMultipleSelection) {
        for (int other : previous)
            Q_EMIT didDeselectItem(other);
    }
    Q_EMIT didSelectItem(index);
}

QSize CollectionView::sizeHint() const
{
    const QMargins inset = m_dataSource.insetForSection ? m_dataSource.insetForSection() : QMargins();
    int width = inset.left() + inset.right();
    int height = 0;
    for (int i = 0; i < m_cells.size(); ++i) {
        const QSize size = itemSize(i);
        width += size.width() + (i > 0 ? m_spacing : 0);
        height = std::max(height, size.height());
    }
    return {width, std::max(height + inset.top() + inset.bottom(), 22)};
}

QSize CollectionView::itemSize(int index) const
{
    if (m_dataSource.sizeForItem)
        return m_dataSource.sizeForItem(index);
    const CollectionViewCell *cell = cellForItem(index);
    return cell ? cell->sizeHint() : QSize();
}

QSize CollectionView::minimumSizeHint() const
{
    return {0, sizeHint().height()};
}

void CollectionView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutCells();
}

void CollectionView::layoutCells()
{
    const QMargins inset = m_dataSource.insetForSection ? m_dataSource.insetForSection() : QMargins();
    int x = inset.left();
    for (int i = 0; i < m_cells.size(); ++i) {
        CollectionViewCell *cell = m_cells.at(i);
        if (!cell)
            continue;
        QSize size = itemSize(i);
        size.setHeight(std::min(size.height(), height() - inset.top() - inset.bottom()));
        cell->setGeometry(QRect(QPoint(x, inset.top()), size));
        x += size.width() + m_spacing;
    }
}

} // namespace tessivo
