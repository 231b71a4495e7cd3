// The colour bar of the annotation tool: back and the swatches.
#pragma once

#include "photo/AnnotateControlsDelegate.h"
#include "photo/ColorControlsView.h"
#include "tessivo_export.h"

namespace tessivo {

class TESSIVO_EXPORT AnnotateControlsView : public ColorControlsView
{
    Q_OBJECT
public:
    explicit AnnotateControlsView(QWidget *parent = nullptr);

    AnnotateControlsDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(AnnotateControlsDelegate *delegate) { m_delegate.set(delegate); }

protected:
    void colorSelected(const QColor &color) override;
    void backPressed() override;

private:
    WeakDelegate<AnnotateControlsDelegate> m_delegate;
};

} // namespace tessivo
