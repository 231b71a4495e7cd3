#include "editors/VideoEditorViewController.h"

#include "capture/CaptureMananger.h"
#include "core/KitAlerts.h"
#include "core/TessivoKit.h"
#include "metadata/ActivityIndicatorView.h"
#include "metadata/MetadataTexts.h"
#include "metadata/MetadataView.h"
#include "metadata/NoteTextView.h"
#include "metadata/SharingMethodView.h"
#include "metadata/VideoMetadataView.h"
#include "metadata/ActivityIndicator.h"
#include "platform/ContentView.h"
#include "platform/MediaError.h"

#include "ui_VideoEditorViewController.h"

#include <QMediaPlayer>
#include <QPainter>
#include <QResizeEvent>
#include <QPropertyAnimation>
#include <QVBoxLayout>

namespace tessivo {
namespace {
const QString kKind = QStringLiteral("Video");
const QString kFileName = QStringLiteral("video.mov");
} // namespace

VideoEditorViewController::VideoEditorViewController(QWidget *parent)
    : EditorViewController(parent), m_ui(std::make_unique<Ui::VideoEditorViewController>())
{
    loadContentView(this, *m_ui);
    m_containerView = requireOutlet(m_ui->containerView, "containerView");
    m_videoView = requireOutlet(m_ui->videoView, "videoView");
    setActivityIndicator(requireOutlet(m_ui->activityIndicator, "activityIndicator"));
    setVideoControlsView(requireOutlet(m_ui->videoControlsView, "videoControlsView"));
    controlsBottomConstraint = LayoutConstraint(requireOutlet(m_ui->controlsBottomSpace, "controlsBottomSpace"),
                                                LayoutConstraint::Attribute::height);
    keyboardBackgroundHeightConstraint =
        LayoutConstraint(requireOutlet(m_ui->keyboardBackgroundView, "keyboardBackgroundView"),
                         LayoutConstraint::Attribute::height);
    // The player view fills the video area.
    auto *layout = new QVBoxLayout(m_videoView);
    layout->setContentsMargins(0, 0, 0, 0);
    m_playerView = new PlayerView(m_videoView); // paints its own letterbox
    layout->addWidget(m_playerView);
}

VideoEditorViewController::~VideoEditorViewController()
{
    if (m_player)
        m_player->stop();
}

void VideoEditorViewController::setVideoFileURLProperty(const QUrl &url)
{
    videoFileURL = url.isEmpty() ? std::nullopt : std::optional<QUrl>(url);
}

void VideoEditorViewController::setVideoControlsView(VideoControlsView *view)
{
    m_videoControlsView = view;
    styleControlsPanel(view);
    view->setDelegate(this);
}

void VideoEditorViewController::viewDidLoad()
{
    EditorViewController::viewDidLoad();
    setupPlayer();
}

void VideoEditorViewController::setupPlayer()
{
    if (!videoFileURL)
        qFatal("Tessivo: the video editor was opened without a video");
    m_player = new QMediaPlayer(this);
    // No audio output: recordings are silent, and a player without one
    // needs no sound device or sound server to play.
    m_playerView->setPlayer(m_player);
    m_player->setSource(*videoFileURL);
    m_player->setLoops(1); // once, no loop
    m_player->play();
}

void VideoEditorViewController::viewDidAppear(bool animated)
{
    EditorViewController::viewDidAppear(animated);
    controlsViewInitialY = m_videoControlsView->mapTo(this, QPoint(0, 0)).y();
}

void VideoEditorViewController::traitCollectionDidChange(Appearance previous)
{
    EditorViewController::traitCollectionDidChange(previous);
    styleControlsPanel(m_videoControlsView);
    update();
}

void VideoEditorViewController::resizeEvent(QResizeEvent *event)
{
    EditorViewController::resizeEvent(event);
    // On a wide window the bar keeps a comfortable width, centred.
    if (m_videoControlsView)
        m_videoControlsView->setFixedWidth(std::min(width(), kMaximumBarWidth));
}

void VideoEditorViewController::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), appearanceOf(this) == Appearance::dark ? QColor(0, 0, 0) : QColor(242, 242, 247));
}

void VideoEditorViewController::openNotePanel(QWidget *container)
{
    if (isShownIn(noteView(), container))
        return;
    isEditingNote = true;
    EditorViewController::hideShareView();
    showNoteView(container, QRect(0, container->height() - qRound(noteViewHeight), container->width(),
                                  qRound(noteViewHeight)));
}

void VideoEditorViewController::openSharePanel(QWidget *container)
{
    if (isShownIn(shareView(), container))
        return;
    m_videoControlsView->show();
    showShareView(container, QRect(0, container->height() - qRound(shareViewHeight), container->width(),
                                   qRound(shareViewHeight)));
    QPointer<VideoEditorViewController> self(this);
    shareView()->setShareFunctionFromController([self] {
        if (self)
            self->sendAction();
    });
}

void VideoEditorViewController::endNoteEditing()
{
    resetPanels();
    controlsBottomConstraint.setConstant(0);
    keyboardBackgroundHeightConstraint.setConstant(0);
    isEditingNote = false;
}

void VideoEditorViewController::done()
{
    endNoteEditing();
}

void VideoEditorViewController::keyboardWillHide(const KeyboardNotification &)
{
    endNoteEditing();
}

void VideoEditorViewController::keyboardWillShow(const KeyboardNotification &notification)
{
    NoteTextView *panel = noteView();
    if (!panel || !panel->parentWidget())
        return;
    const int top = height() - qRound(noteViewHeight);
    panel->move(panel->x(), panel->parentWidget()->mapFrom(this, QPoint(0, top)).y());
    const int lift = qRound(notification.frameEnd.height());
    controlsBottomConstraint.setConstant(lift);
    keyboardBackgroundHeightConstraint.setConstant(lift);
    // The keyboard's own duration and curve, passed through as they came.
    auto *animation = new QPropertyAnimation(panel, "pos", panel);
    animation->setDuration(qRound(notification.duration * 1000));
    animation->setEasingCurve(notification.curve);
    animation->setEndValue(QPoint(panel->x(), panel->y() - lift));
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void VideoEditorViewController::noteTapped()
{
    openNotePanel(m_videoView);
}

void VideoEditorViewController::shareTapped()
{
    endNoteEditing();
    openSharePanel(m_videoView);
}

void VideoEditorViewController::closeTapped()
{
    if (isEditingNote) {
        endNoteEditing();
        hideShareView();
        m_videoControlsView->resetButtons();
        return;
    }
    endNoteEditing();
    mergeReport([this](const MergedReport &report) {
        confirmQuit(std::nullopt, report.fileURL, kKind, false);
    });
}

void VideoEditorViewController::toolDeselected()
{
    endNoteEditing();
    hideShareView();
}

void VideoEditorViewController::hideShareView()
{
    EditorViewController::hideShareView();
    controlsBottomConstraint.setConstant(0);
    keyboardBackgroundHeightConstraint.setConstant(0);
}

void VideoEditorViewController::sendAction()
{
    hideShareView();
    const std::optional<ShareMethod> option = shareView()->selectedOption();
    if (!option)
        return;
    TessivoKit::shared().shareMethod = *option;
    mergeReport([this](const MergedReport &report) {
        sendFeedback(std::nullopt, report.fileURL, kFileName, report.summary, report.details, false);
    });
}

void VideoEditorViewController::setBusy(bool busy)
{
    m_merging = busy;
    if (ActivityIndicatorView *overlay = activityIndicator()) {
        overlay->setVisible(busy);
        busy ? overlay->activityIndicator()->startAnimating() : overlay->activityIndicator()->stopAnimating();
    }
    setEnabled(!busy);
}

void VideoEditorViewController::mergeReport(std::function<void(const MergedReport &)> completion)
{
    if (m_merging)
        return;
    syncSelectedNoteTypes();
    // The card for the movie stands on its own, in this screen's colours but
    // not inside it: the screen is disabled while the report is prepared and
    // sent, and a card inside it would be drawn disabled. So it looks like
    // the card under a screenshot, whatever state the screen is in.
    m_card = std::make_unique<VideoMetadataView>();
    m_card->setPalette(palette());
    m_card->setMetadata(metadata);
    setBusy(true);
    QPointer<VideoEditorViewController> self(this);
    // The movie merged is the one this editor plays, and no other.
    TessivoKit::shared().captureManager()->makeMetadataVideo(
        m_card.get(), videoFileURL.value_or(QUrl()),
        [self, completion](const QUrl &merged) {
            if (!self)
                return;
            self->setBusy(false);
            MetadataView *card = self->m_card ? self->m_card->metadataView() : nullptr;
            if (!card)
                qFatal("Tessivo: the report's card is gone before its texts were read");
            MergedReport report;
            report.fileURL = merged;
            report.summary = metadata::noteAttributedText(card->metadata(), MetadataView::noteFont()).string();
            report.details = card->reportSummary();
            completion(report);
        },
        [self](const MediaError &error) {
            if (!self)
                return;
            self->setBusy(false);
            tessivo::showAlert(QStringLiteral("Error!"),
                      QStringLiteral("The video could not be prepared: %1").arg(error.localizedDescription));
        });
}

} // namespace tessivo
