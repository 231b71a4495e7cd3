// A colour swatch of the colour bars: a circle in the cell's colour with a
// 2-point grey border. The chosen swatch is drawn larger (its scale).
#pragma once

#include "metadata/CollectionViewCell.h"
#include "tessivo_export.h"

#include <QColor>
#include <QPointer>

#include <optional>

namespace tessivo {

class TESSIVO_EXPORT ColorCell : public CollectionViewCell
{
    Q_OBJECT
    Q_PROPERTY(qreal swatchScale READ swatchScale WRITE setSwatchScale)
public:
    static constexpr auto kReuseIdentifier = "Color";
    static constexpr qreal kBorderWidth = 2.0;
    static QColor borderColor() { return QColor(77, 77, 77); }

    explicit ColorCell(QWidget *parent = nullptr);

    QWidget *colorView() const { return m_colorView; }
    std::optional<QColor> color() const { return m_color; }
    void setColor(const std::optional<QColor> &color);

    /// The swatch's scale transform (1 is the identity).
    qreal swatchScale() const { return m_scale; }
    void setSwatchScale(qreal scale);

    QSize sizeHint() const override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void applyLook();

    QPointer<QWidget> m_colorView;
    std::optional<QColor> m_color;
    qreal m_scale = 1.0;
    QSize m_baseSize;
};

} // namespace tessivo
