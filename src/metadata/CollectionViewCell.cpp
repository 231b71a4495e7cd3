#include "metadata/CollectionViewCell.h"

#include <QKeyEvent>
#include <QMouseEvent>

namespace tessivo {

CollectionViewCell::CollectionViewCell(QWidget *parent) : QWidget(parent)
{
    setFocusPolicy(Qt::TabFocus);
}

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

void CollectionViewCell::keyPressEvent(QKeyEvent *event)
{
    const int key = event->key();
    if (key == Qt::Key_Space || key == Qt::Key_Return || key == Qt::Key_Enter) {
        if (!event->isAutoRepeat())
            Q_EMIT tapped();
        return;
    }
    QWidget::keyPressEvent(event);
}

} // namespace tessivo
