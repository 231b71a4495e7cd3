#include "editors/NoteEditorViewController.h"
#include "editors/VideoEditorViewController.h"

#include "core/TessivoKit.h"
#include "metadata/MetadataTexts.h"
#include "metadata/MetadataView.h"
#include "metadata/NoteTextView.h"
#include "metadata/SharingMethodView.h"
#include "platform/ContentView.h"
#include "platform/Dispatch.h"
#include "platform/Layer.h"

#include "ui_NoteEditorViewController.h"

#include <QPainter>
#include <QResizeEvent>

#include <algorithm>
#include <QPropertyAnimation>

namespace tessivo {
namespace {

const QString kKind = QStringLiteral("Note");
const QString kFileName = QStringLiteral("note.png");
constexpr int kMaximumContentWidth = 720;

QColor backgroundFor(Appearance appearance)
{
    return appearance == Appearance::dark ? QColor(0, 0, 0) : QColor(242, 242, 247);
}

QColor cardColorFor(Appearance appearance)
{
    return appearance == Appearance::dark ? QColor(28, 28, 30) : QColor(Qt::white);
}

} // namespace

NoteEditorViewController::NoteEditorViewController(QWidget *parent)
    : EditorViewController(parent), m_ui(std::make_unique<Ui::NoteEditorViewController>())
{
    loadContentView(this, *m_ui);
    m_metadataView = requireOutlet(m_ui->metadataView, "metadataView");
    m_containerView = requireOutlet(m_ui->containerView, "containerView");
    m_controlsBackgroundView = requireOutlet(m_ui->controlsBackgroundView, "controlsBackgroundView");
    setActivityIndicator(requireOutlet(m_ui->activityIndicator, "activityIndicator"));
    setControlsView(requireOutlet(m_ui->controlsView, "controlsView"));
    controlsBottomConstraint = LayoutConstraint(requireOutlet(m_ui->controlsBottomSpace, "controlsBottomSpace"),
                                                LayoutConstraint::Attribute::height);
    keyboardBackgroundHeightConstraint =
        LayoutConstraint(requireOutlet(m_ui->keyboardBackgroundView, "keyboardBackgroundView"),
                         LayoutConstraint::Attribute::height);
    applyColors();
}

NoteEditorViewController::~NoteEditorViewController() = default;

void NoteEditorViewController::setControlsView(VideoControlsView *view)
{
    m_controlsView = view;
    styleControlsPanel(view);
    view->setDelegate(this);
}

void NoteEditorViewController::viewDidLoad()
{
    EditorViewController::viewDidLoad();
    m_metadataView->setMetadata(metadata);
    hasToolbar = false;
}

void NoteEditorViewController::viewDidAppear(bool animated)
{
    EditorViewController::viewDidAppear(animated);
    controlsViewInitialY = m_controlsView->mapTo(this, QPoint(0, 0)).y();
    QPointer<NoteEditorViewController> self(this);
    dispatchMain([self] {
        if (!self)
            return;
        self->openNotePanel(self->m_containerView);
        VideoControlsView::setSelected(self->m_controlsView->noteButton(), true);
        self->m_controlsView->show();
        self->EditorViewController::hideShareView();
    });
}

void NoteEditorViewController::traitCollectionDidChange(Appearance previous)
{
    EditorViewController::traitCollectionDidChange(previous);
    styleControlsPanel(m_controlsView);
    applyColors();
}

void NoteEditorViewController::applyColors()
{
    const Appearance appearance = appearanceOf(this);
    Layer::of(m_metadataView)->setBackgroundColor(cardColorFor(appearance));
    Layer::of(m_ui->keyboardBackgroundView)->setBackgroundColor(cardColorFor(appearance));
    const bool dark = appearance == Appearance::dark;
    m_ui->titleLabel->setStyleSheet(QStringLiteral("color: %1; font-size: 20pt; font-weight: bold;")
                                        .arg(dark ? QStringLiteral("#FFFFFF") : QStringLiteral("#000000")));
    m_ui->captionLabel->setStyleSheet(QStringLiteral("color: %1; font-size: 10.5pt;")
                                          .arg(dark ? QStringLiteral("#AEAEB2") : QStringLiteral("#636366")));
    update();
}

void NoteEditorViewController::resizeEvent(QResizeEvent *event)
{
    EditorViewController::resizeEvent(event);
    // On wide screens the card and the panels keep a readable width.
    const int side = std::max(0, (width() - kMaximumContentWidth) / 2);
    m_ui->contentLayout->setContentsMargins(side, 0, side, 0);
    m_controlsView->setFixedWidth(std::min(width(), VideoEditorViewController::kMaximumBarWidth));
}

void NoteEditorViewController::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), backgroundFor(appearanceOf(this)));
}

void NoteEditorViewController::openNotePanel(QWidget *container)
{
    // The root view and the container cover the same area above the bar.
    if (container == this)
        container = m_containerView;
    if (isShownIn(noteView(), container))
        return;
    m_metadataView->hide();
    m_controlsView->show();
    m_controlsBackgroundView->show();
    isEditingNote = true;
    EditorViewController::hideShareView();
    showNoteView(container, QRect(0, container->height() - qRound(noteViewHeight), container->width(),
                                  qRound(noteViewHeight)));
}

void NoteEditorViewController::openSharePanel(QWidget *container)
{
    if (isShownIn(shareView(), container))
        return;
    m_controlsView->show();
    selectedShareMethod.reset();
    showShareView(container, QRect(0, container->height() - qRound(shareViewHeight), container->width(),
                                   qRound(shareViewHeight)));
    QPointer<NoteEditorViewController> self(this);
    shareView()->setShareFunctionFromController([self] {
        if (self)
            self->sendAction();
    });
}

void NoteEditorViewController::resetPanels()
{
    const bool committing = isShownIn(noteView(), this);
    EditorViewController::resetPanels();
    if (committing)
        m_metadataView->setMetadata(metadata);
}

void NoteEditorViewController::hideShareView()
{
    EditorViewController::hideShareView();
    openNotePanel(m_containerView);
}

void NoteEditorViewController::showCardAndBar()
{
    m_metadataView->show();
    m_controlsView->show();
    m_controlsBackgroundView->show();
    isEditingNote = false;
}

void NoteEditorViewController::noteTapped()
{
    openNotePanel(m_containerView);
}

void NoteEditorViewController::shareTapped()
{
    // The card takes the committed name, note and note types before its
    // snapshot, so that the snapshot is what the report says.
    syncSelectedNoteTypes();
    resetPanels();
    m_metadataView->setMetadata(metadata);
    image = snapshotOfCard();
    m_metadataView->hide();
    m_controlsView->show();
    openSharePanel(m_containerView);
}

void NoteEditorViewController::closeTapped()
{
    if (isEditingNote) {
        hideShareView();
        resetPanels();
        showCardAndBar();
        m_controlsView->resetButtons();
        return;
    }
    resetPanels();
    m_metadataView->show();
    image = snapshotOfCard();
    m_metadataView->hide();
    m_controlsBackgroundView->hide();
    confirmQuit(image, std::nullopt, kKind, true);
}

void NoteEditorViewController::toolDeselected()
{
    hideShareView();
    resetPanels();
    showCardAndBar();
}

void NoteEditorViewController::sendAction()
{
    hideShareView();
    const std::optional<ShareMethod> option = shareView()->selectedOption();
    if (!option)
        return;
    TessivoKit::shared().shareMethod = *option;
    const QString summary = metadata::noteAttributedText(m_metadataView->metadata(), MetadataView::noteFont()).string();
    const QString details = m_metadataView->reportSummary();
    // Trello and monday get the texts alone; the share sheet needs an item,
    // and the card's snapshot is the one this editor has.
    std::optional<QImage> shared;
    if (*option == ShareMethod::shareSheet)
        shared = image ? *image : snapshotOfCard();
    sendFeedback(shared, std::nullopt, kFileName, summary, details, true);
}

QImage NoteEditorViewController::snapshotOfCard() const
{
    MetadataView *card = m_metadataView;
    if (!card || card->size().isEmpty())
        return QImage();
    return card->grab().toImage();
}

void NoteEditorViewController::keyboardWillShow(const KeyboardNotification &notification)
{
    NoteTextView *panel = noteView();
    const double lift = notification.frameEnd.height();
    controlsBottomConstraint.setConstant(lift);
    keyboardBackgroundHeightConstraint.setConstant(lift);
    Layer *bar = Layer::of(m_controlsView);
    bar->setShadow(bar->shadowOffset(), bar->shadowRadius(), 0.0);
    if (!panel || panel->isHidden() || !panel->parentWidget())
        return;
    const int top = panel->parentWidget()->height() - qRound(noteViewHeight);
    panel->move(panel->x(), top);
    auto *animation = new QPropertyAnimation(panel, "pos", panel);
    animation->setDuration(qRound(notification.duration * 1000));
    animation->setEasingCurve(notification.curve);
    animation->setEndValue(QPoint(panel->x(), top - qRound(lift)));
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void NoteEditorViewController::keyboardWillHide(const KeyboardNotification &)
{
    controlsBottomConstraint.setConstant(0);
    keyboardBackgroundHeightConstraint.setConstant(0);
    styleControlsPanel(m_controlsView);
}

} // namespace tessivo
