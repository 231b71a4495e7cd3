// A backdrop that blurs what lies behind it and tints it.
#pragma once

#include "tessivo_export.h"

#include <QImage>
#include <QWidget>

namespace tessivo {

/// Blur styles with their raw values.
enum class BlurEffectStyle { extraLight = 0, light = 1, dark = 2 };

class TESSIVO_EXPORT VisualEffectView : public QWidget
{
    Q_OBJECT
public:
    explicit VisualEffectView(QWidget *parent = nullptr);

    BlurEffectStyle effect() const { return m_style; }
    void setEffect(BlurEffectStyle style);

    /// The tint laid over the blurred backdrop for a style.
    static QColor tint(BlurEffectStyle style);

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void captureBackdrop();

    BlurEffectStyle m_style = BlurEffectStyle::light;
    QImage m_backdrop;
    bool m_capturing = false;
};

} // namespace tessivo
