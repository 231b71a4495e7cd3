// The base of the report editors. It owns what a report needs between
// capture and delivery: the note panel, the share panel, the report record,
// the activity overlay, the author check, delivery to the share sheet,
// Trello or monday, the quit sheet and the save to the photo library.
// Subclasses supply the content, their bar and keyboard handling, and
// override the hooks (openNotePanel, openSharePanel, resetPanels,
// hideShareView, keyboardWillShow/WillHide, done, closeEditor,
// scrollCanvasToBottom and the ControlsDelegate operations).
#pragma once

#include "core/CaptureInfo.h"
#include "editors/ControlsDelegate.h"
#include "editors/Report.h"
#include "metadata/ActivityIndicatorView.h"
#include "metadata/NoteTextView.h"
#include "metadata/NoteTextViewDelegate.h"
#include "metadata/SharingMethodView.h"
#include "platform/AlertController.h"
#include "platform/Toolbar.h"
#include "platform/Keyboard.h"
#include "platform/ViewController.h"
#include "tessivo_export.h"

#include <QImage>
#include <QList>
#include <QPointer>
#include <QRect>
#include <QUrl>

#include <functional>
#include <optional>

namespace tessivo {

class InputBlocker;

class TESSIVO_EXPORT EditorViewController : public ViewController,
                                            public ControlsDelegate,
                                            public NoteTextViewDelegate
{
    Q_OBJECT
public:
    explicit EditorViewController(QWidget *parent = nullptr);
    ~EditorViewController() override;

    // Fields ----------------------------------------------------------------
    /// The blocking spinner, bound from the editor's layout.
    ActivityIndicatorView *activityIndicator() const { return m_activityIndicator; }
    void setActivityIndicator(ActivityIndicatorView *indicator);
    /// The note panel and the share panel (made at construction; replaced
    /// when shown in another container).
    NoteTextView *noteView() const { return m_noteView; }
    SharingMethodView *shareView() const { return m_shareView; }
    /// The report being built.
    CaptureInfo metadata;
    static constexpr double noteViewHeight = 342.0;
    static constexpr double shareViewHeight = 300.0;
    /// The bar's saved vertical position (subclasses).
    double controlsViewInitialY = 0.0;
    /// Positions in noteTypes(); the first is preselected.
    QList<int> selectedNoteIndexes{0};
    /// The "Done" accessory bar; its button runs done().
    Toolbar *toolbar() const { return m_toolbar; }
    bool hasToolbar = true;
    /// The name prompt while it is shown.
    AlertController *alertController() const { return m_alertController; }
    bool anonymousAuthorGenerated = false;

    // Operations --------------------------------------------------------------
    /// Rebuilds metadata.selectedNoteTypes from selectedNoteIndexes, in
    /// their order. An index outside the list stops the program.
    void syncSelectedNoteTypes();

    /// A bar's look: a soft upward shadow and the two top corners rounded.
    void styleControlsPanel(QWidget *view);

    /// Shows the note panel in `container` at `frame` (a new panel when it
    /// lives elsewhere), filled from metadata, the name field focused.
    void showNoteView(QWidget *container, const QRect &frame);
    /// Shows the share panel in `container` at `frame`.
    void showShareView(QWidget *container, const QRect &frame);

    virtual void openNotePanel(QWidget *container);
    virtual void openSharePanel(QWidget *container);
    /// Commits the note panel into metadata (and "noteAuthor") and closes it.
    virtual void resetPanels();
    virtual void hideShareView();

    /// An alert with a title and a message and no buttons, from this editor.
    AlertController *showAlert(const QString &title, const QString &message);

    /// The quit sheet: save to Photos, delete, or cancel (which reopens the
    /// note panel in this editor when `restoreOnCancel`).
    void confirmQuit(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                     const QString &kind, bool restoreOnCancel);

    /// The author check, then deliver().
    void sendFeedback(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                      const QString &fileName, const QString &summary, const QString &details,
                      bool closeAfter);
    /// Sends to TessivoKit::shared().shareMethod with the overlay up and
    /// input blocked, then reports the result.
    void deliver(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                 const QString &fileName, const QString &summary, const QString &details,
                 bool closeAfter);

    /// Saves to the photo library, tells the result for 2 s, then closes.
    void saveToPhotos(const std::optional<QImage> &image, const std::optional<QUrl> &fileURL,
                      const QString &kind);

    /// A generated author name ("TealPenguin").
    QString randomAuthorName() const;

    /// Ends the session and dismisses the editor; `completion` runs after
    /// the dismissal.
    virtual void closeEditor(std::function<void()> completion = {});

    /// Runs when the share sheet closes without a completed activity.
    virtual void scrollCanvasToBottom() {}

    /// False while a report is being delivered.
    bool isUserInteractionEnabled() const;

    // ControlsDelegate: empty here.
    void annotateTapped() override {}
    void markupTapped() override {}
    void noteTapped() override {}
    void stickersTapped() override {}
    void closeTapped() override {}
    void shareTapped() override {}
    void toolDeselected() override {}

    // NoteTextViewDelegate.
    void noteTypeSelected(int index) override;
    void noteTypeDeselected(int index) override;

    /// Clears navigationAlreadyStarted and hands the session back to the
    /// kit, which resumes background recording.
    static void endFeedbackSession();

protected:
    void viewDidLoad() override;
    virtual void keyboardWillShow(const KeyboardNotification &notification) { Q_UNUSED(notification) }
    virtual void keyboardWillHide(const KeyboardNotification &notification) { Q_UNUSED(notification) }
    virtual void done() {}
    /// The panel currently shown in `container`, if that is where it lives.
    static bool isShownIn(const QWidget *panel, const QWidget *container);
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void deliverToShareSheet(const Report &report);
    void reportResult(const Report &report, bool succeeded);
    void setDelivering(bool delivering);
    void placeOverlay();
    void keepPanelAtBottom(QWidget *panel, double height);

    QPointer<ActivityIndicatorView> m_activityIndicator;
    QPointer<NoteTextView> m_noteView;
    QPointer<SharingMethodView> m_shareView;
    QPointer<Toolbar> m_toolbar;
    QPointer<AlertController> m_alertController;
    InputBlocker *m_inputBlocker = nullptr;
};

} // namespace tessivo
