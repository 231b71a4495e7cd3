#include "photo/ColorControlsView.h"

#include "photo/ColorCell.h"
#include "platform/Bundle.h"

#include <QParallelAnimationGroup>
#include <QPropertyAnimation>

namespace tessivo {

ColorControlsView::ColorControlsView(QWidget *parent) : QWidget(parent) {}

void ColorControlsView::setUp(QWidget *view, CollectionView *collectionView, QToolButton *backButton)
{
    m_view = view;
    m_collectionView = collectionView;
    m_backButton = backButton;
    m_backButton->setIcon(Bundle::kit().icon(QStringLiteral("bar_back")));
    connect(m_backButton, &QToolButton::clicked, this, &ColorControlsView::back);
    m_view->setStyleSheet(QStringLiteral(
        "QToolButton { border: none; border-radius: 14px; padding: 4px 10px; background: transparent; }"
        "QToolButton:hover { background: rgba(142, 142, 147, 40); }"));

    const QString identifier = QString::fromLatin1(ColorCell::kReuseIdentifier);
    m_collectionView->registerCell(identifier, [](QWidget *parent) { return new ColorCell(parent); });
    CollectionView::DataSource source;
    source.numberOfItems = [this] { return static_cast<int>(colors.size()); };
    source.cellForItem = [this, identifier](int item) {
        auto *cell = static_cast<ColorCell *>(m_collectionView->dequeueReusableCell(identifier, item));
        cell->setColor(colors.at(item));
        return cell;
    };
    source.sizeForItem = [](int) { return QSize(44, 44); };
    m_collectionView->setDataSource(source);
    m_collectionView->reloadData();
    m_collectionView->setMinimumWidth(m_collectionView->sizeHint().width());
    m_collectionView->setFixedHeight(44);
    connect(m_collectionView, &CollectionView::didSelectItem, this, &ColorControlsView::selectItem);
}

ColorCell *ColorControlsView::cellAt(int item) const
{
    return m_collectionView ? qobject_cast<ColorCell *>(m_collectionView->cellForItem(item)) : nullptr;
}

void ColorControlsView::selectDefaultColor()
{
    if (!defaultColor)
        return;
    const qsizetype item = colors.indexOf(*defaultColor);
    if (item >= 0)
        markSelected(static_cast<int>(item));
}

void ColorControlsView::markSelected(int item)
{
    if (!m_collectionView)
        qFatal("Tessivo: the colour bar has no collection view");
    ColorCell *cell = cellAt(item);
    if (!cell)
        return;
    auto *group = new QParallelAnimationGroup(this);
    auto animate = [group](ColorCell *target, qreal scale) {
        auto *animation = new QPropertyAnimation(target, "swatchScale", group);
        animation->setDuration(kAnimationMs);
        animation->setEndValue(scale);
        group->addAnimation(animation);
    };
    if (selectedIndexPath && *selectedIndexPath != item) {
        if (ColorCell *previous = cellAt(*selectedIndexPath))
            animate(previous, 1.0);
    }
    selectedIndexPath = item;
    animate(cell, kChosenScale);
    group->start(QAbstractAnimation::DeleteWhenStopped);
    if (!m_collectionView->isItemSelected(item))
        m_collectionView->selectItem(item);
}

void ColorControlsView::selectItem(int item)
{
    if (item < 0 || item >= colors.size())
        qFatal("Tessivo: colour %d is outside the list", item);
    colorSelected(colors.at(item));
    markSelected(item);
}

void ColorControlsView::back()
{
    backPressed();
}

} // namespace tessivo
