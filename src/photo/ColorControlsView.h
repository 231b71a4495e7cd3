// What the two colour bars share: black, white and red swatches in a
// collection view, the chosen swatch shown 1.4 times larger, the colour the
// editor has in use, and a back button. Subclasses name their interface
// file and tell their delegate.
#pragma once

#include "metadata/CollectionView.h"
#include "platform/WeakDelegate.h"
#include "tessivo_export.h"

#include <QColor>
#include <QList>
#include <QPointer>
#include <QToolButton>
#include <QWidget>

#include <optional>

namespace tessivo {

class ColorCell;

class TESSIVO_EXPORT ColorControlsView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kAnimationMs = 200;
    static constexpr qreal kChosenScale = 1.4;

    /// The swatches' colours, in order.
    QList<QColor> colors{QColor(0, 0, 0), QColor(255, 255, 255), QColor(255, 0, 0)};
    /// The chosen swatch: an item of the collection's one section.
    std::optional<int> selectedIndexPath;
    /// The colour the editor has in use when it opens the bar.
    std::optional<QColor> defaultColor;

    QWidget *view() const { return m_view; }
    CollectionView *collectionView() const { return m_collectionView; }
    QToolButton *backButton() const { return m_backButton; }
    ColorCell *cellAt(int item) const;

    /// Marks the swatch of defaultColor as chosen; nothing when the colour
    /// is not one of colors.
    void selectDefaultColor();
    /// Marks a swatch as chosen: the previous one back to its size, the new
    /// one 1.4 times larger, over 0.2 s. Without a cell nothing happens.
    void markSelected(int item);
    /// What a tap on a swatch does: tells the delegate, then marks it.
    void selectItem(int item);

public Q_SLOTS:
    void back();

protected:
    /// Builds the bar from its loaded content; `view` is the content root.
    ColorControlsView(QWidget *parent = nullptr);
    void setUp(QWidget *view, CollectionView *collectionView, QToolButton *backButton);
    virtual void colorSelected(const QColor &color) = 0;
    virtual void backPressed() = 0;

private:
    QPointer<QWidget> m_view;
    QPointer<CollectionView> m_collectionView;
    QPointer<QToolButton> m_backButton;
};

} // namespace tessivo
