#include "metadata/ActivityIndicatorView.h"

#include "metadata/ActivityIndicator.h"
#include "platform/Appearance.h"
#include "platform/ContentView.h"
#include "platform/Layer.h"

#include "ui_ActivityIndicatorView.h"

#include <QEvent>
#include <QLayout>

namespace tessivo {
namespace {
// Room around the card so that its shadow is not cut off by our bounds.
const QMargins kShadowRoom(24, 16, 24, 32);
} // namespace

ActivityIndicatorView::ActivityIndicatorView(QWidget *parent) : QWidget(parent)
{
    Ui::ActivityIndicatorView ui;
    m_view = loadContentView(this, ui);
    m_activityIndicator = requireOutlet(ui.activityIndicator, "activityIndicator");
    layout()->setContentsMargins(kShadowRoom);

    Layer *card = Layer::of(m_view);
    card->setShadow(QPointF(0, 8), 16, 0.08, Qt::black);
    card->setCornerRadius(25);
    traitCollectionDidChange();
}

QSize ActivityIndicatorView::sizeHint() const
{
    return QSize(100, 100).grownBy(kShadowRoom);
}

void ActivityIndicatorView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ThemeChange)
        traitCollectionDidChange();
}

void ActivityIndicatorView::traitCollectionDidChange()
{
    if (!m_activityIndicator || !m_view)
        return;
    const Appearance appearance = appearanceOf(this);
    m_activityIndicator->setStyle(appearance == Appearance::light ? ActivityIndicatorStyle::gray
                                                                  : ActivityIndicatorStyle::white);
    // The card is the palette's base: white in light, raised grey in dark.
    Layer::of(m_view)->setBackgroundColor(palette().color(QPalette::Base));
}

} // namespace tessivo
