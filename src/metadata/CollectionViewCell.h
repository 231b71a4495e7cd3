// A cell of a CollectionView: a widget that can be selected, by a click or,
// once Tab has reached it, by Space or Return.
#pragma once

#include "tessivo_export.h"

#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT CollectionViewCell : public QWidget
{
    Q_OBJECT
public:
    explicit CollectionViewCell(QWidget *parent = nullptr);

    bool isSelected() const { return m_selected; }
    /// Subclasses restyle themselves; call the base to record the state.
    virtual void setSelected(bool selected);

Q_SIGNALS:
    void tapped();

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    /// Space and Return tap a focused cell.
    void keyPressEvent(QKeyEvent *event) override;

private:
    bool m_selected = false;
};

} // namespace tessivo
