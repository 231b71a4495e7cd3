// The layer style that kit widgets paint: background, corner radius (with
// masked corners), border and shadow. Any widget can have one; the
// "cornerRadius" dynamic property set in a .ui file feeds it.
#pragma once

#include "tessivo_export.h"

#include <QColor>
#include <QObject>
#include <QPointF>
#include <QPainterPath>
#include <QPointer>

class QWidget;
class QPainter;
class QRectF;

namespace tessivo {

enum class CornerMask : unsigned {
    minXMinY = 1 << 0, // top left
    maxXMinY = 1 << 1, // top right
    minXMaxY = 1 << 2, // bottom left
    maxXMaxY = 1 << 3, // bottom right
    all = 0xF,
};

class TESSIVO_EXPORT Layer : public QObject
{
    Q_OBJECT
public:
    /// The widget's layer, created on first use (owned by the widget).
    static Layer *of(QWidget *widget);
    /// The widget's layer if it has one.
    static Layer *existing(const QWidget *widget);

    /// Applies "cornerRadius" (and the other layer keys below) set as
    /// dynamic properties in .ui files to `root` and all its children.
    /// Keys: cornerRadius, borderWidth, borderColor, shadowRadius,
    /// shadowOpacity, shadowOffsetX, shadowOffsetY, shadowColor.
    static void applyDesignerProperties(QWidget *root);

    qreal cornerRadius() const { return m_cornerRadius; }
    void setCornerRadius(qreal radius);
    unsigned maskedCorners() const { return m_maskedCorners; }
    void setMaskedCorners(unsigned corners);
    bool masksToBounds() const { return m_masksToBounds; }
    void setMasksToBounds(bool masks);

    QColor backgroundColor() const { return m_backgroundColor; }
    void setBackgroundColor(const QColor &color);

    qreal borderWidth() const { return m_borderWidth; }
    void setBorderWidth(qreal width);
    QColor borderColor() const { return m_borderColor; }
    void setBorderColor(const QColor &color);

    QPointF shadowOffset() const { return m_shadowOffset; }
    qreal shadowRadius() const { return m_shadowRadius; }
    qreal shadowOpacity() const { return m_shadowOpacity; }
    QColor shadowColor() const { return m_shadowColor; }
    /// Shadows follow the platform's layer model: colour at opacity, blur
    /// radius, offset. A zero opacity removes the shadow.
    void setShadow(QPointF offset, qreal radius, qreal opacity, const QColor &color = Qt::black);

    /// Paints background and border into `rect` (used by widgets that paint
    /// themselves, and by the event filter for all others).
    void paint(QPainter &painter, const QRectF &rect) const;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit Layer(QWidget *widget);
    void update();
    void updateShadow();
    void updateMask();

    QPointer<QWidget> m_widget;
    qreal m_cornerRadius = 0;
    unsigned m_maskedCorners = static_cast<unsigned>(CornerMask::all);
    bool m_masksToBounds = false;
    QColor m_backgroundColor; // invalid: none
    qreal m_borderWidth = 0;
    QColor m_borderColor;
    QPointF m_shadowOffset{0, -3};
    qreal m_shadowRadius = 3;
    qreal m_shadowOpacity = 0;
    QColor m_shadowColor = Qt::black;
};

/// The rounded rectangle of a layer with some corners square.
TESSIVO_EXPORT QPainterPath roundedPath(const QRectF &rect, qreal radius, unsigned corners);

} // namespace tessivo
