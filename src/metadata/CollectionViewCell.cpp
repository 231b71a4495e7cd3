#include "metadata/CollectionViewCell.h"

#include <QMouseEvent>

namespace tessivo {

CollectionViewCell::CollectionViewCell(QWidget *parent) : QWidget(parent) {}

void CollectionViewCell::setSelected(bool selected)
{
    m_selected = selected;
}

void CollectionViewCell::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        Q_EMIT tapped();
    QWidget::mouseReleaseEvent(event);
}

} // namespace tessivo
