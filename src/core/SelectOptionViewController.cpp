#include "core/SelectOptionViewController.h"

#include "capture/CaptureMananger.h"

#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "platform/Application.h"
#include "platform/Bundle.h"
#include "platform/ContentView.h"
#include "platform/Dispatch.h"
#include "platform/KeyActivation.h"
#include "platform/Layer.h"
#include "platform/Storyboard.h"
#include "platform/TapGestureRecognizer.h"
#include "platform/UserDefaults.h"
#include "platform/WindowOverlay.h"
#include "ui_SelectOptionViewController.h"

#include <QPainter>
#include <QPushButton>
#include <QResizeEvent>

#include <algorithm>

namespace tessivo {
namespace {
constexpr auto kScreenshotSegue = "showScreenshotEditor";
constexpr auto kNoteEditor = "noteEditor";
} // namespace

SelectOptionViewController::SelectOptionViewController(QWidget *parent)
    : ViewController(parent), m_ui(std::make_unique<Ui::SelectOptionViewController>())
{
    setTitle(QStringLiteral("Feedback"));
    loadContentView(this, *m_ui);
    setVideoDescriptionLabel(m_ui->videoDescriptionLabel);
    setImageView(m_ui->imageView);
    setVideoView(m_ui->videoView);
    setScreenshotView(m_ui->screenshotView);
    m_ui->closeButton->setIcon(Bundle::kit().icon(QStringLiteral("icon_close")));
    m_ui->closeButton->setIconSize(QSize(30, 30));
    connect(m_ui->closeButton, &QPushButton::clicked, this, &SelectOptionViewController::closeMainScreen);
    const qreal dpr = devicePixelRatioF();
    m_ui->videoIcon->setPixmap(QPixmap::fromImage(Bundle::kit().image(QStringLiteral("icon_video"), dpr)));
    m_ui->screenshotIcon->setPixmap(QPixmap::fromImage(Bundle::kit().image(QStringLiteral("icon_screenshot"), dpr)));
    m_ui->noteIcon->setPixmap(QPixmap::fromImage(Bundle::kit().image(QStringLiteral("icon_note"), dpr)));
    applyColors();
}

SelectOptionViewController::~SelectOptionViewController() = default;

void SelectOptionViewController::attachTap(QWidget *tile, void (SelectOptionViewController::*action)())
{
    auto *tap = new TapGestureRecognizer;
    tap->addTarget(this, [this, action](GestureRecognizer *) { (this->*action)(); });
    tap->addTo(tile);
    KeyActivation::install(tile, [this, action] { (this->*action)(); });
}

void SelectOptionViewController::setImageView(QWidget *tile)
{
    m_imageView = tile;
    styleTile(tile, appearanceOf(this));
    attachTap(tile, &SelectOptionViewController::showNoteMenu);
}

void SelectOptionViewController::setVideoView(QWidget *tile)
{
    m_videoView = tile;
    styleTile(tile, appearanceOf(this));
    attachTap(tile, &SelectOptionViewController::showVideoMenu);
}

void SelectOptionViewController::setScreenshotView(QWidget *tile)
{
    m_screenshotView = tile;
    styleTile(tile, appearanceOf(this));
    attachTap(tile, &SelectOptionViewController::showScreenshotMenu);
}

void SelectOptionViewController::setVideoDescriptionLabel(QLabel *label)
{
    m_videoDescriptionLabel = label;
    label->setText(UserDefaults::standard().boolForKey(QStringLiteral("userAllowedRecordingKey"))
                       ? QStringLiteral("last 10 seconds")
                       : QStringLiteral("tap to enable"));
}

void SelectOptionViewController::styleTile(QWidget *tile, Appearance appearance)
{
    if (!tile)
        return;
    const bool dark = appearance == Appearance::dark;
    Layer *layer = Layer::of(tile);
    layer->setShadow(QPointF(0, 0), 18.0, 0.18, dark ? QColor(0, 0, 0, 140) : QColor(Qt::black));
    layer->setBorderColor(QColor(45, 45, 45));
    layer->setBorderWidth(dark ? 1.0 : 0.0);
    layer->setCornerRadius(40.0);
    layer->setMaskedCorners(static_cast<unsigned>(CornerMask::minXMinY)
                            | static_cast<unsigned>(CornerMask::maxXMinY));
    layer->setBackgroundColor(dark ? QColor(28, 28, 30) : QColor(255, 255, 255));
}

void SelectOptionViewController::viewDidLoad()
{
    ViewController::viewDidLoad();
    // The key window as the tester saw it, before this screen is shown.
    QWidget *key = nullptr;
    for (QWidget *window : Application::windows()) {
        if (window == Application::keyWindow()) {
            key = window;
            break;
        }
    }
    if (!key) {
        m_screenshot.reset();
        return;
    }
    const QImage image = WindowOverlay::grabContent(key);
    m_screenshot = image.isNull() ? QImage() : image;
}

void SelectOptionViewController::traitCollectionDidChange(Appearance previous)
{
    ViewController::traitCollectionDidChange(previous);
    for (QWidget *tile : {m_imageView.data(), m_videoView.data(), m_screenshotView.data()})
        styleTile(tile, appearanceOf(this));
    applyColors();
}

void SelectOptionViewController::applyColors()
{
    const bool dark = appearanceOf(this) == Appearance::dark;
    const QString primary = dark ? QStringLiteral("#FFFFFF") : QStringLiteral("#000000");
    const QString secondary = dark ? QStringLiteral("#AEAEB2") : QStringLiteral("#636366");
    m_ui->headingLabel->setStyleSheet(QStringLiteral("color: %1; font-size: 20pt; font-weight: bold;").arg(primary));
    m_ui->subheadingLabel->setStyleSheet(QStringLiteral("color: %1; font-size: 10.5pt;").arg(secondary));
    for (QLabel *title : {m_ui->videoViewTitle, m_ui->screenshotViewTitle, m_ui->imageViewTitle})
        title->setStyleSheet(QStringLiteral("color: %1; font-size: 14pt; font-weight: bold;").arg(primary));
    for (QLabel *caption : {m_ui->videoDescriptionLabel, m_ui->screenshotCaption, m_ui->noteCaption})
        caption->setStyleSheet(QStringLiteral("color: %1; font-size: 10pt;").arg(secondary));
    update();
}

void SelectOptionViewController::resizeEvent(QResizeEvent *event)
{
    ViewController::resizeEvent(event);
    // A wide window shows the three tiles side by side, each with its
    // picture above its caption; a narrow one stacks them, and a short one
    // keeps them only as tall as their content.
    const bool row = width() >= 860 && width() > height();
    m_ui->tilesLayout->setDirection(row ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    m_ui->column->setMaximumWidth(row ? 1040 : 520);
    const int tileHeight = row ? 180 : (height() < 640 ? 0 : 112);
    const QList<QWidget *> tiles{m_ui->videoView, m_ui->screenshotView, m_ui->imageView};
    int widest = 0;
    for (QWidget *tile : tiles) {
        tile->setMinimumHeight(tileHeight);
        tile->setMinimumWidth(0);
        if (auto *inner = qobject_cast<QBoxLayout *>(tile->layout())) {
            inner->setDirection(row ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
            inner->invalidate();
        }
        widest = std::max(widest, tile->minimumSizeHint().width());
    }
    // In a row the tiles share the width equally, never narrower than the
    // widest one's content; their own content widths do not count.
    for (QWidget *tile : tiles) {
        tile->setMinimumWidth(row ? widest : 0);
        tile->setSizePolicy(row ? QSizePolicy::Ignored : QSizePolicy::Preferred, tile->sizePolicy().verticalPolicy());
    }
    // Side by side, the tiles sit in the middle of the window with the
    // heading above them; stacked, they sit at the bottom like a sheet.
    for (int i = 0; i < m_ui->tilesLayout->count(); ++i)
        m_ui->tilesLayout->setStretch(i, 1); // side by side, equally wide
    m_ui->bottomStretch->changeSize(0, 0, QSizePolicy::Minimum, row ? QSizePolicy::Expanding : QSizePolicy::Fixed);
    m_ui->columnLayout->invalidate();
    m_ui->columnLayout->setSpacing(height() < 640 ? 12 : 18);
    m_ui->tilesLayout->setSpacing(height() < 640 ? 12 : 18);
}

void SelectOptionViewController::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), appearanceOf(this) == Appearance::dark ? QColor(0, 0, 0) : QColor(242, 242, 247));
}

void SelectOptionViewController::prepare(StoryboardSegue &segue, QObject *sender)
{
    ViewController::prepare(segue, sender);
    // The photo editor takes the screenshot through its "image" property.
    if (ViewController *destination = segue.destination();
        destination && destination->metaObject()->indexOfProperty("image") >= 0)
        destination->setProperty("image", m_screenshot ? QVariant(*m_screenshot) : QVariant());
}

void SelectOptionViewController::showScreenshotMenu()
{
    if (!TessivoKit::shared().useRecordingForScreenshot) {
        // Until the photo editor is in the storyboard, the tile does nothing.
        if (Storyboard::named(storyboardName()).containsSegue(QLatin1String(kScreenshotSegue)))
            performSegue(QLatin1String(kScreenshotSegue), this);
        return;
    }
    dismiss(true, [] { TessivoKit::shared().captureManager()->produceScreenshotFromRecording(); });
}

void SelectOptionViewController::showVideoMenu()
{
    dismiss(true, [] { TessivoKit::shared().captureManager()->produceVideoFeedback(); });
}

void SelectOptionViewController::showNoteMenu()
{
    if (!Storyboard::named(storyboardName()).contains(QLatin1String(kNoteEditor)))
        return; // the note editor is not in the storyboard yet
    const QString board = storyboardName();
    dismiss(true, [board] {
        dispatchMain([board] {
            ViewController *top = topMostViewController();
            if (!top)
                return;
            ViewController *editor = Storyboard::named(board).instantiateViewController(QLatin1String(kNoteEditor));
            editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
            top->setDefinesPresentationContext(true);
            top->present(editor, true);
        });
    });
}

void SelectOptionViewController::closeMainScreen()
{
    TessivoKit::shared().navigationAlreadyStarted = false;
    dismiss(true);
    TessivoKit::shared().startRecordingProcedure();
}

} // namespace tessivo
