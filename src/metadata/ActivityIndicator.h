// A spinning activity indicator: twelve spokes fading around a circle,
// grey on light backgrounds or white on dark ones.
#pragma once

#include "tessivo_export.h"

#include <QColor>
#include <QTimer>
#include <QWidget>

namespace tessivo {

enum class ActivityIndicatorStyle { white, gray };

class TESSIVO_EXPORT ActivityIndicator : public QWidget
{
    Q_OBJECT
public:
    explicit ActivityIndicator(QWidget *parent = nullptr);

    ActivityIndicatorStyle style() const { return m_style; }
    void setStyle(ActivityIndicatorStyle style);
    /// The spokes' colour for the current style.
    QColor color() const;

    void startAnimating();
    void stopAnimating();
    bool isAnimating() const { return m_timer.isActive(); }
    /// Hidden while stopped (the default).
    bool hidesWhenStopped() const { return m_hidesWhenStopped; }
    void setHidesWhenStopped(bool hides);

    QSize sizeHint() const override { return {37, 37}; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    ActivityIndicatorStyle m_style = ActivityIndicatorStyle::white;
    QTimer m_timer;
    int m_step = 0;
    bool m_hidesWhenStopped = true;
};

} // namespace tessivo
