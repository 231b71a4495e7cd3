// The sticker picker: a back button and a strip of stickers that scrolls
// sideways and fades out at its left edge. Choosing a sticker hands a new,
// placed-size StickerView to the delegate; the picker stays open. The
// smart letter entry shows the next free letter of the pool; when the pool
// runs dry the entry leaves the strip, and it comes back first when a
// letter is handed back.
#pragma once

#include "metadata/CollectionView.h"
#include "photo/SmartLetterPool.h"
#include "photo/Sticker.h"
#include "photo/StickersControlsDelegate.h"
#include "platform/WeakDelegate.h"
#include "tessivo_export.h"

#include <QList>
#include <QPointer>
#include <QScrollArea>
#include <QToolButton>
#include <QWidget>

#include <memory>

namespace Ui {
class StickersControlsView;
}

namespace tessivo {

class StickersCell;

class TESSIVO_EXPORT StickersControlsView : public QWidget
{
    Q_OBJECT
public:
    /// Where the strip's left-edge fade ends, as a share of its width.
    static constexpr qreal kFadeEnd = 0.08;

    explicit StickersControlsView(QWidget *parent = nullptr);
    ~StickersControlsView() override;

    QWidget *view() const { return m_view; }
    CollectionView *stickersCollectionView() const { return m_collectionView; }
    QScrollArea *stickersScrollArea() const { return m_scrollArea; }
    QToolButton *backButton() const { return m_backButton; }
    StickersControlsDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(StickersControlsDelegate *delegate) { m_delegate.set(delegate); }

    QList<Sticker> stickers = Sticker::catalogue();
    /// The free letters (lower case until handed back).
    QString characters() const { return m_pool.characters(); }

    StickersCell *cellAt(int item) const;
    /// What choosing an item does: a new sticker to the delegate and, for
    /// the smart letter, its letter taken.
    void selectItem(int item);
    /// Drops the first free letter; the smart letter entry leaves the strip
    /// when none is left.
    void takeSmartLetter(int item);
    /// Takes back a letter of a deleted sticker.
    void returnSmartLetter(const QString &letter);

public Q_SLOTS:
    void back();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void reload(int item);
    void reloadAll();

    std::unique_ptr<Ui::StickersControlsView> m_ui;
    QPointer<QWidget> m_view;
    QPointer<CollectionView> m_collectionView;
    QPointer<QScrollArea> m_scrollArea;
    QPointer<QToolButton> m_backButton;
    WeakDelegate<StickersControlsDelegate> m_delegate;
    SmartLetterPool m_pool;
};

} // namespace tessivo
