#include "platform/LayoutConstraint.h"

#include <cmath>

namespace tessivo {

qreal LayoutConstraint::constant() const
{
    if (!m_item)
        return 0;
    return m_attribute == Attribute::height ? m_item->maximumHeight() : m_item->maximumWidth();
}

void LayoutConstraint::setConstant(qreal value)
{
    if (!m_item)
        return;
    const int v = static_cast<int>(std::lround(value));
    if (m_attribute == Attribute::height)
        m_item->setFixedHeight(v);
    else
        m_item->setFixedWidth(v);
}

} // namespace tessivo
