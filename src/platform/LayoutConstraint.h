// A constraint's constant, bound to one dimension of a widget in a layout
// (a spacer's height, a label's fixed height...).
#pragma once

#include "tessivo_export.h"

#include <QPointer>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT LayoutConstraint
{
public:
    enum class Attribute { height, width };

    LayoutConstraint() = default;
    LayoutConstraint(QWidget *item, Attribute attribute) : m_item(item), m_attribute(attribute) {}

    bool isValid() const { return !m_item.isNull(); }
    QWidget *item() const { return m_item.data(); }

    qreal constant() const;
    /// Fixes the widget's dimension to `value` (points).
    void setConstant(qreal value);

private:
    QPointer<QWidget> m_item;
    Attribute m_attribute = Attribute::height;
};

} // namespace tessivo
