// The colour bar of the markup tool: back, the swatches, clear all.
#pragma once

#include "photo/MarkupControlsDelegate.h"
#include "photo/ColorControlsView.h"
#include "tessivo_export.h"

namespace tessivo {

class TESSIVO_EXPORT MarkupControlsView : public ColorControlsView
{
    Q_OBJECT
public:
    explicit MarkupControlsView(QWidget *parent = nullptr);

    MarkupControlsDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(MarkupControlsDelegate *delegate) { m_delegate.set(delegate); }
    QToolButton *clearButton() const { return m_clearButton; }

public Q_SLOTS:
    /// The clear-all button: asks the delegate to erase every stroke.
    void clearAll();

protected:
    void colorSelected(const QColor &color) override;
    void backPressed() override;

private:
    WeakDelegate<MarkupControlsDelegate> m_delegate;
    QPointer<QToolButton> m_clearButton;
};

} // namespace tessivo
