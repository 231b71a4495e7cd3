// A cell of the sticker picker: the sticker, small (a StickerView in the
// cell's own scene, drawn into the cell's sticker area), and its caption.
#pragma once

#include "metadata/CollectionViewCell.h"
#include "photo/Sticker.h"
#include "photo/StickerView.h"

#include <QGraphicsScene>
#include <QLabel>
#include <QPointer>

#include <optional>

namespace tessivo {

class TESSIVO_EXPORT StickersCell : public CollectionViewCell
{
    Q_OBJECT
public:
    static constexpr auto kReuseIdentifier = "Sticker";

    explicit StickersCell(QWidget *parent = nullptr);

    StickerView *stickerView() const { return m_stickerView; }
    QLabel *stickerLabel() const { return m_stickerLabel; }
    const std::optional<Sticker> &sticker() const { return m_sticker; }
    /// Shows the sticker small, with its caption.
    void setSticker(const std::optional<Sticker> &sticker);

    QSize sizeHint() const override { return {64, 80}; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QGraphicsScene m_scene;
    StickerView *m_stickerView = nullptr; // owned by m_scene
    QPointer<QWidget> m_stickerArea;
    QPointer<QLabel> m_stickerLabel;
    std::optional<Sticker> m_sticker;
};

} // namespace tessivo
