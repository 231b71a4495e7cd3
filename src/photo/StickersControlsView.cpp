#include "photo/StickersControlsView.h"

#include "photo/StickerView.h"
#include "photo/StickersCell.h"
#include "platform/Bundle.h"
#include "platform/ContentView.h"

#include "ui_StickersControlsView.h"

#include <QGraphicsOpacityEffect>
#include <QLinearGradient>
#include <QScrollBar>
#include <QScroller>
#include <QWheelEvent>

namespace tessivo {

StickersControlsView::StickersControlsView(QWidget *parent)
    : QWidget(parent), m_ui(std::make_unique<Ui::StickersControlsView>())
{
    m_view = loadContentView(this, *m_ui);
    m_collectionView = requireOutlet(m_ui->stickersCollectionView, "stickersCollectionView");
    m_scrollArea = requireOutlet(m_ui->stickersScrollArea, "stickersScrollArea");
    m_backButton = requireOutlet(m_ui->backButton, "backButton");
    // A bar: as tall as its strip, never taking the canvas's room.
    m_scrollArea->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_scrollArea->setFixedHeight(80);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    m_backButton->setIcon(Bundle::kit().icon(QStringLiteral("bar_back")));
    connect(m_backButton, &QToolButton::clicked, this, &StickersControlsView::back);
    m_view->setStyleSheet(QStringLiteral(
        "QToolButton { border: none; border-radius: 14px; padding: 4px 10px; background: transparent; }"
        "QToolButton:hover { background: rgba(142, 142, 147, 40); }"));

    const QString identifier = QString::fromLatin1(StickersCell::kReuseIdentifier);
    m_collectionView->registerCell(identifier, [](QWidget *parent) { return new StickersCell(parent); });
    CollectionView::DataSource source;
    source.numberOfItems = [this] { return static_cast<int>(stickers.size()); };
    source.cellForItem = [this, identifier](int item) {
        Sticker &entry = stickers[item];
        entry.smartLetter = entry.isSmartLetter ? m_pool.nextLetter() : std::nullopt;
        auto *cell = static_cast<StickersCell *>(m_collectionView->dequeueReusableCell(identifier, item));
        cell->setSticker(entry);
        return cell;
    };
    source.sizeForItem = [](int) { return QSize(64, 80); };
    source.insetForSection = [] { return QMargins(8, 0, 12, 0); };
    m_collectionView->setDataSource(source);
    connect(m_collectionView, &CollectionView::didSelectItem, this, [this](int item) {
        m_collectionView->deselectItem(item);
        selectItem(item);
    });
    reloadAll();

    // The strip fades out over its leftmost 8 %: a gradient from clear to
    // opaque masks the view that holds the collection.
    auto *fade = new QGraphicsOpacityEffect(m_scrollArea);
    QLinearGradient mask(QPointF(0, 0.5), QPointF(1, 0.5));
    mask.setCoordinateMode(QGradient::ObjectMode);
    mask.setColorAt(0, Qt::transparent);
    mask.setColorAt(kFadeEnd, Qt::black);
    mask.setColorAt(1, Qt::black);
    fade->setOpacity(1.0);
    fade->setOpacityMask(QBrush(mask));
    m_scrollArea->setGraphicsEffect(fade);

    // The strip scrolls sideways with a finger and with the wheel.
    QScroller::grabGesture(m_scrollArea->viewport(), QScroller::TouchGesture);
    m_scrollArea->viewport()->installEventFilter(this);
}

StickersControlsView::~StickersControlsView() = default;

StickersCell *StickersControlsView::cellAt(int item) const
{
    return m_collectionView ? qobject_cast<StickersCell *>(m_collectionView->cellForItem(item)) : nullptr;
}

void StickersControlsView::reload(int item)
{
    // The strip's cells are rebuilt together; the item is the one whose
    // content changed.
    Q_UNUSED(item)
    reloadAll();
}

void StickersControlsView::reloadAll()
{
    if (!m_collectionView)
        qFatal("Tessivo: the sticker picker has no collection view");
    m_collectionView->reloadData();
    m_collectionView->resize(m_collectionView->sizeHint());
}

void StickersControlsView::selectItem(int item)
{
    if (item < 0 || item >= stickers.size())
        qFatal("Tessivo: sticker %d is outside the picker", item);
    auto view = std::make_unique<StickerView>(QRectF(0, 0, StickerView::kWidth, StickerView::kHeight));
    view->applyStyle(true);
    view->setTransform(QTransform::fromScale(StickerView::kPlacedScale, StickerView::kPlacedScale));
    const Sticker chosen = stickers.at(item);
    view->setSticker(chosen);
    if (StickersControlsDelegate *target = delegate())
        target->didSelectSticker(std::move(view));
    if (chosen.isSmartLetter)
        takeSmartLetter(item);
}

void StickersControlsView::takeSmartLetter(int item)
{
    if (!m_pool.take())
        return;
    if (!m_pool.isEmpty()) {
        reload(item);
        return;
    }
    // The smart letter is always the first entry while it is shown.
    stickers.removeFirst();
    reloadAll();
}

void StickersControlsView::returnSmartLetter(const QString &letter)
{
    m_pool.give(letter);
    if (m_pool.count() > 1) {
        reload(0);
        return;
    }
    stickers.prepend(Sticker::smartLetterSticker());
    reloadAll();
}

void StickersControlsView::back()
{
    if (StickersControlsDelegate *target = delegate())
        target->back();
}

bool StickersControlsView::eventFilter(QObject *watched, QEvent *event)
{
    if (m_scrollArea && watched == m_scrollArea->viewport() && event->type() == QEvent::Wheel) {
        auto *wheel = static_cast<QWheelEvent *>(event);
        const QPoint pixels = wheel->pixelDelta();
        const QPoint angle = wheel->angleDelta();
        const int step = !pixels.isNull() ? (pixels.x() != 0 ? pixels.x() : pixels.y())
                                          : (angle.x() != 0 ? angle.x() : angle.y()) * 48 / 120;
        QScrollBar *bar = m_scrollArea->horizontalScrollBar();
        bar->setValue(bar->value() - step);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace tessivo
