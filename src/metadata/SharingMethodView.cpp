#include "metadata/SharingMethodView.h"

#include "core/TessivoKit.h"
#include "platform/Appearance.h"
#include "platform/Bundle.h"
#include "platform/ContentView.h"

#include "ui_SharingMethodView.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>

namespace tessivo {
namespace {

// The translucent grey shared with the note fields.
const QColor kPromptBackground(192, 192, 192, static_cast<int>(0.3 * 255 + 0.5));
// The choices look like the enabled buttons they are: the appearance's
// raised surface with a hairline, not a greyed-out fill.
void styleButton(QPushButton *button, const char *imageName)
{
    const bool dark = appearanceOf(button) == Appearance::dark;
    Layer *layer = Layer::of(button);
    layer->setBackgroundColor(dark ? QColor(58, 58, 60) : QColor(255, 255, 255));
    layer->setBorderWidth(1);
    layer->setBorderColor(dark ? QColor(99, 99, 102) : QColor(199, 199, 204));
    QPalette palette = button->palette();
    palette.setColor(QPalette::ButtonText, dark ? Qt::white : Qt::black);
    button->setPalette(palette);
    const QIcon icon = Bundle::kit().icon(QString::fromLatin1(imageName));
    if (!icon.isNull())
        button->setIcon(icon);
}

} // namespace

SharingMethodView::SharingMethodView(QWidget *parent) : QWidget(parent)
{
    Ui::SharingMethodView ui;
    m_view = loadContentView(this, ui);
    m_textLabel = requireOutlet(ui.textLabel, "textLabel");
    m_mondayButton = requireOutlet(ui.mondayButton, "mondayButton");
    m_otherButton = requireOutlet(ui.otherButton, "otherButton");

    Layer::of(m_textLabel)->setBackgroundColor(kPromptBackground);
    m_textLabel->setText(QStringLiteral("Choose an option to share data"));
    m_selectedOption.reset();
    // The tracker route is monday, or Trello when the host's configuration
    // names Trello: that is the one way a report reaches a Trello list.
    const auto &configs = TessivoKit::shared().optionalConfigs;
    m_trackerMethod = configs && configs->shareMethod() == ShareMethod::trello ? ShareMethod::trello
                                                                              : ShareMethod::monday;
    if (m_trackerMethod == ShareMethod::trello)
        m_mondayButton->setText(QStringLiteral("Trello"));
    applyStyle();

    connect(m_mondayButton, &QPushButton::clicked, this, &SharingMethodView::mondayButtonAction);
    connect(m_otherButton, &QPushButton::clicked, this, &SharingMethodView::otherButtonAction);
}

void SharingMethodView::applyStyle()
{
    styleButton(m_mondayButton, m_trackerMethod == ShareMethod::trello ? "sharingTrello" : "sharingMonday");
    styleButton(m_otherButton, "sharingOther");
}

void SharingMethodView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && m_mondayButton && m_otherButton)
        applyStyle();
}

void SharingMethodView::setShareFunctionFromController(std::function<void()> function)
{
    m_shareFunctionFromController = std::move(function);
}

void SharingMethodView::mondayButtonAction()
{
    pick(m_trackerMethod);
}

void SharingMethodView::otherButtonAction()
{
    pick(ShareMethod::shareSheet);
}

void SharingMethodView::pick(ShareMethod method)
{
    m_selectedOption = method;
    if (m_shareFunctionFromController)
        m_shareFunctionFromController();
}

} // namespace tessivo
