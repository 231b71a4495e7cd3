#include "editors/EditorViewController.h"

#include "core/KitAlerts.h"
#include "core/TessivoKit.h"
#include "editors/AuthorPrompt.h"
#include "editors/InputBlocker.h"
#include "editors/PhotosSaver.h"
#include "editors/QuitSheet.h"
#include "editors/RandomAuthorName.h"
#include "editors/ReportDelivery.h"
#include "metadata/ActivityIndicatorView.h"
#include "metadata/NoteTextView.h"
#include "metadata/SharingMethodView.h"
#include "platform/ActivityViewController.h"
#include "platform/AlertController.h"
#include "platform/Console.h"
#include "platform/Device.h"
#include "platform/Dispatch.h"
#include "platform/Layer.h"
#include "platform/Toolbar.h"
#include "platform/UserDefaults.h"

#include <QEvent>
#include <QResizeEvent>

namespace tessivo {
namespace {

const QString kNoteAuthorKey = QStringLiteral("noteAuthor");
const QString kAnonymousAuthorKey = QStringLiteral("anonymousAuthor");

/// Trims spaces and tabs, but not line breaks, from both ends.
QString trimSpacesAndTabs(const QString &text)
{
    auto blank = [](QChar c) { return c == QLatin1Char('\t') || c.category() == QChar::Separator_Space; };
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && blank(text.at(begin)))
        ++begin;
    while (end > begin && blank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

/// A field's text, or the empty string while it shows its placeholder.
QString fieldText(const QTextEdit *field, const QString &placeholder)
{
    const QString text = field ? field->toPlainText() : QString();
    return text == placeholder ? QString() : text;
}

// On a wide window the panels keep a readable width, centred.
constexpr int kMaximumPanelWidth = 720;

QRect centredPanel(QRect frame)
{
    if (frame.width() > kMaximumPanelWidth) {
        frame.moveLeft(frame.left() + (frame.width() - kMaximumPanelWidth) / 2);
        frame.setWidth(kMaximumPanelWidth);
    }
    return frame;
}

QRect bottomFrame(const QWidget *container, double height)
{
    const int h = qRound(height);
    return centredPanel({0, container->height() - h, container->width(), h});
}

} // namespace

EditorViewController::EditorViewController(QWidget *parent) : ViewController(parent)
{
    m_noteView = new NoteTextView(this);
    m_noteView->setDelegate(this);
    m_noteView->hide();
    m_shareView = new SharingMethodView(this);
    m_shareView->hide();
    m_toolbar = Toolbar::doneToolbar([this] { done(); }, this);
    m_toolbar->hide();
    m_inputBlocker = new InputBlocker(this);
}

EditorViewController::~EditorViewController() = default;

void EditorViewController::viewDidLoad()
{
    ViewController::viewDidLoad();
    connect(&Keyboard::shared(), &Keyboard::keyboardWillShow, this,
            [this](const KeyboardNotification &n) { keyboardWillShow(n); });
    connect(&Keyboard::shared(), &Keyboard::keyboardWillHide, this,
            [this](const KeyboardNotification &n) { keyboardWillHide(n); });
    if (UserDefaults::standard().contains(kNoteAuthorKey)) {
        metadata.author = UserDefaults::standard().stringForKey(kNoteAuthorKey);
        syncSelectedNoteTypes();
    }
}

void EditorViewController::setActivityIndicator(ActivityIndicatorView *indicator)
{
    m_activityIndicator = indicator;
    placeOverlay();
}

void EditorViewController::syncSelectedNoteTypes()
{
    QStringList names;
    for (int index : std::as_const(selectedNoteIndexes)) {
        if (index < 0 || index >= noteTypes().size())
            qFatal("Tessivo: note type index %d is outside the list", index);
        names << noteTypes().at(index);
    }
    metadata.selectedNoteTypes = names;
}

void EditorViewController::styleControlsPanel(QWidget *view)
{
    if (!view)
        return;
    Layer *layer = Layer::of(view);
    layer->setShadow(QPointF(0, -8), 16, 0.08);
    layer->setCornerRadius(40);
    layer->setMaskedCorners(static_cast<unsigned>(CornerMask::minXMinY)
                            | static_cast<unsigned>(CornerMask::maxXMinY));
    layer->setBackgroundColor(appearanceOf(view) == Appearance::dark ? QColor(28, 28, 30) : QColor(Qt::white));
}

bool EditorViewController::isShownIn(const QWidget *panel, const QWidget *container)
{
    return panel && container && !panel->isHidden() && container->isAncestorOf(panel);
}

void EditorViewController::showNoteView(QWidget *container, const QRect &frame)
{
    if (!m_noteView || m_noteView->parentWidget() != container) {
        auto *panel = new NoteTextView(container);
        panel->setDelegate(this);
        if (m_noteView)
            m_noteView->deleteLater();
        m_noteView = panel;
        container->installEventFilter(this);
    }
    m_noteView->setGeometry(centredPanel(frame));
    m_noteView->show();
    m_noteView->raise();
    // The panel shows the note types that will be sent.
    syncSelectedNoteTypes();
    m_noteView->setMetadata(metadata);
    m_noteView->fillFields();
    m_noteView->nameTextView()->setFocus(Qt::OtherFocusReason);
}

void EditorViewController::showShareView(QWidget *container, const QRect &frame)
{
    if (!m_shareView || m_shareView->parentWidget() != container) {
        auto *panel = new SharingMethodView(container);
        if (m_shareView)
            m_shareView->deleteLater();
        m_shareView = panel;
        container->installEventFilter(this);
    }
    m_shareView->setGeometry(centredPanel(frame));
    m_shareView->show();
    m_shareView->raise();
}

void EditorViewController::openNotePanel(QWidget *container)
{
    if (isShownIn(m_noteView, container))
        return;
    showNoteView(container, bottomFrame(container, noteViewHeight));
}

void EditorViewController::openSharePanel(QWidget *container)
{
    if (isShownIn(m_shareView, container))
        return;
    showShareView(container, bottomFrame(container, shareViewHeight));
}

void EditorViewController::resetPanels()
{
    if (!isShownIn(m_noteView, this))
        return;
    metadata.note = trimSpacesAndTabs(fieldText(m_noteView->noteTextView(), m_noteView->notePlaceholder()));
    syncSelectedNoteTypes();
    metadata.author = fieldText(m_noteView->nameTextView(), m_noteView->namePlaceholder()).trimmed();
    syncSelectedNoteTypes();
    UserDefaults::standard().setString(metadata.author, kNoteAuthorKey);
    m_noteView->nameTextView()->clearFocus();
    m_noteView->noteTextView()->clearFocus();
    m_noteView->hide();
}

void EditorViewController::hideShareView()
{
    if (isShownIn(m_shareView, this))
        m_shareView->hide();
}

AlertController *EditorViewController::showAlert(const QString &title, const QString &message)
{
    auto *alert = new AlertController(title, message, AlertControllerStyle::alert);
    anchorToCentre(alert, this);
    if (!present(alert, true)) {
        delete alert;
        return nullptr;
    }
    return alert;
}

void EditorViewController::confirmQuit(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                                       const QString &kind, bool restoreOnCancel)
{
    QPointer<EditorViewController> self(this);
    auto *sheet = QuitSheet::make(
        kind,
        [self, image, fileURL, kind] {
            if (self)
                self->saveToPhotos(image, fileURL, kind);
        },
        [self] {
            if (self)
                self->closeEditor();
        },
        [self, restoreOnCancel] {
            if (self && restoreOnCancel)
                self->openNotePanel(self);
        });
    anchorToCentre(sheet, this);
    if (!present(sheet, true))
        delete sheet;
}

void EditorViewController::sendFeedback(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                                        const QString &fileName, const QString &summary, const QString &details,
                                        bool closeAfter)
{
    const QString anonymous = UserDefaults::standard().stringForKey(kAnonymousAuthorKey);
    if (!metadata.author.isEmpty() || !anonymous.isEmpty())
        return deliver(image, fileURL, fileName, summary, details, closeAfter);

    const QString generated = randomAuthorName();
    QPointer<EditorViewController> self(this);
    auto *prompt = AuthorPrompt::make(generated, [self, generated](const QString &typedName) {
        if (!self)
            return;
        if (!typedName.isEmpty()) {
            self->metadata.author = typedName;
            self->syncSelectedNoteTypes();
            UserDefaults::standard().setString(typedName, kNoteAuthorKey);
            // An open note panel shows the name, or committing it would
            // bring back the empty one.
            if (isShownIn(self->m_noteView, self)) {
                self->m_noteView->setMetadata(self->metadata);
                self->m_noteView->fillFields();
            }
        } else {
            UserDefaults::standard().setString(generated, kAnonymousAuthorKey);
        }
        // Back to the share panel: the next pick finds an author.
        self->shareTapped();
    });
    m_alertController = prompt;
    anchorToCentre(prompt, this);
    if (!present(prompt, true))
        delete prompt;
}

void EditorViewController::deliver(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                                   const QString &fileName, const QString &summary, const QString &details,
                                   bool closeAfter)
{
    const Report report{image, fileURL, fileName, summary, details, closeAfter};
    setDelivering(true);
    const ShareMethod method = TessivoKit::shared().shareMethod;
    QPointer<EditorViewController> self(this);
    auto outcome = [self, report, method](bool succeeded) {
        if (!self)
            return;
        self->setDelivering(false);
        const QString title = ReportDelivery::resultTitle(succeeded);
        const QString message = ReportDelivery::resultMessage(method, succeeded);
        auto show = [title, message] { tessivo::showAlert(title, message); };
        if (report.closeAfter)
            self->closeEditor(show);
        else
            show();
    };
    switch (method) {
    case ShareMethod::shareSheet:
        deliverToShareSheet(report);
        break;
    case ShareMethod::trello:
        ReportDelivery::toTrello(report, this, outcome);
        break;
    case ShareMethod::monday:
        ReportDelivery::toMonday(report, this, outcome);
        break;
    }
}

void EditorViewController::deliverToShareSheet(const Report &report)
{
    QVariantList items;
    if (report.image && !report.image->isNull())
        items << QVariant(*report.image);
    else if (report.fileURL)
        items << QVariant(*report.fileURL);
    if (items.isEmpty()) {
        consolePrint(QStringLiteral("There is nothing to share"));
        setDelivering(false);
        scrollCanvasToBottom();
        return;
    }
    auto *sheet = new ActivityViewController(items);
    if (Device::userInterfaceIdiom() == UserInterfaceIdiom::pad) {
        PopoverPresentation *popover = sheet->popoverPresentationController();
        popover->sourceView = this;
        popover->sourceRect = QRectF(QRectF(rect()).center(), QSizeF(0, 0));
        popover->permittedArrowDirections = static_cast<unsigned>(PopoverArrowDirection::none);
    }
    QPointer<EditorViewController> self(this);
    const bool closeAfter = report.closeAfter;
    sheet->setCompletionWithItemsHandler([self, closeAfter](std::optional<ActivityType> activity, bool completed) {
        if (!self)
            return;
        self->setDelivering(false);
        if (!completed) {
            self->scrollCanvasToBottom();
            return;
        }
        if (activity == ActivityType::saveToCameraRoll)
            dispatchMain([] { endFeedbackSession(); });
        if (closeAfter)
            self->closeEditor();
    });
    if (!present(sheet, true)) {
        delete sheet;
        setDelivering(false);
    }
}

void EditorViewController::saveToPhotos(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                                        const QString &kind)
{
    QPointer<EditorViewController> self(this);
    PhotosSaver::save(image, fileURL, kind, this, [self](const QString &message) {
        QPointer<AlertController> alert = self->showAlert(QString(), message);
        dispatchMainAfter(2.0, [self, alert] {
            auto close = [self] {
                if (self)
                    self->closeEditor();
            };
            if (alert)
                alert->dismiss(true, close);
            else
                close();
        });
    });
}

QString EditorViewController::randomAuthorName() const
{
    return tessivo::randomAuthorName();
}

void EditorViewController::endFeedbackSession()
{
    TessivoKit::shared().navigationAlreadyStarted = false;
    TessivoKit::shared().startRecordingProcedure();
}

void EditorViewController::closeEditor(std::function<void()> completion)
{
    QPointer<EditorViewController> self(this);
    dispatchMain([self, completion = std::move(completion)] {
        endFeedbackSession();
        ViewController *presenter = self ? self->presentingViewController() : nullptr;
        if (presenter)
            presenter->dismiss(true, completion);
        else if (completion)
            completion();
    });
}

bool EditorViewController::isUserInteractionEnabled() const
{
    return !m_inputBlocker->isBlocking();
}

void EditorViewController::setDelivering(bool delivering)
{
    if (ActivityIndicatorView *overlay = m_activityIndicator) {
        overlay->setVisible(delivering);
        if (delivering) {
            placeOverlay();
            overlay->raise();
            overlay->activityIndicator()->startAnimating();
        } else {
            overlay->activityIndicator()->stopAnimating();
        }
    }
    m_inputBlocker->setBlocking(delivering);
}

void EditorViewController::noteTypeSelected(int index)
{
    if (!selectedNoteIndexes.contains(index))
        selectedNoteIndexes.append(index);
}

void EditorViewController::noteTypeDeselected(int index)
{
    selectedNoteIndexes.removeAll(index);
}

void EditorViewController::placeOverlay()
{
    ActivityIndicatorView *overlay = m_activityIndicator;
    if (!overlay || overlay->parentWidget() != this)
        return;
    const QSize size = overlay->sizeHint();
    overlay->setGeometry(QRect(QPoint((width() - size.width()) / 2, (height() - size.height()) / 2), size));
}

void EditorViewController::keepPanelAtBottom(QWidget *panel, double height)
{
    if (panel && !panel->isHidden() && panel->parentWidget())
        panel->setGeometry(bottomFrame(panel->parentWidget(), height));
}

void EditorViewController::resizeEvent(QResizeEvent *event)
{
    ViewController::resizeEvent(event);
    placeOverlay();
    if (m_noteView && m_noteView->parentWidget() == this)
        keepPanelAtBottom(m_noteView, noteViewHeight);
    if (m_shareView && m_shareView->parentWidget() == this)
        keepPanelAtBottom(m_shareView, shareViewHeight);
}

bool EditorViewController::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize && watched != this) {
        if (m_noteView && m_noteView->parentWidget() == watched)
            keepPanelAtBottom(m_noteView, noteViewHeight);
        if (m_shareView && m_shareView->parentWidget() == watched)
            keepPanelAtBottom(m_shareView, shareViewHeight);
    }
    return ViewController::eventFilter(watched, event);
}

} // namespace tessivo
