#include "photo/StickersCell.h"

#include "platform/ContentView.h"

#include "ui_StickersCell.h"

#include <QPainter>
#include <QPaintEvent>

namespace tessivo {

StickersCell::StickersCell(QWidget *parent) : CollectionViewCell(parent)
{
    Ui::StickersCell ui;
    loadContentView(this, ui);
    m_stickerArea = requireOutlet(ui.stickerView, "stickerView");
    m_stickerLabel = requireOutlet(ui.stickerLabel, "stickerLabel");
    const QSizeF area = m_stickerArea->maximumSize();
    // Room around the picture for its small shadow.
    m_stickerView = new StickerView(QRectF(QPointF(0, 0), area - QSizeF(4, 6)));
    m_stickerView->setCenter(QPointF(area.width() / 2, area.height() / 2 - 2));
    m_scene.addItem(m_stickerView);
    m_scene.setSceneRect(QRectF(QPointF(0, 0), area));
    m_stickerArea->installEventFilter(this);
    setCursor(Qt::PointingHandCursor);
}

void StickersCell::setSticker(const std::optional<Sticker> &sticker)
{
    m_sticker = sticker;
    m_stickerView->setSticker(sticker);
    m_stickerLabel->setText(sticker ? sticker->label : QString());
    setToolTip(sticker ? sticker->label.simplified() : QString());
    m_stickerView->applyStyle(false);
    m_stickerArea->update();
}

bool StickersCell::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_stickerArea && event->type() == QEvent::Paint) {
        QPainter painter(m_stickerArea);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        m_scene.render(&painter, QRectF(m_stickerArea->rect()), m_scene.sceneRect());
        return true;
    }
    return CollectionViewCell::eventFilter(watched, event);
}

} // namespace tessivo
