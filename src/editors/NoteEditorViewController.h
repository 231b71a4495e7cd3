// The editor of a note-only report: the metadata card is the content. It
// opens straight into the name field, sends the card's texts, and on quit
// offers to save the card's snapshot.
#pragma once

#include "core/ShareMethod.h"
#include "editors/EditorViewController.h"
#include "editors/VideoControlsView.h"
#include "metadata/MetadataView.h"
#include "platform/LayoutConstraint.h"
#include "tessivo_export.h"

#include <QImage>
#include <QPointer>

#include <memory>
#include <optional>

namespace Ui {
class NoteEditorViewController;
}

namespace tessivo {

class TESSIVO_EXPORT NoteEditorViewController : public EditorViewController
{
    Q_OBJECT
public:
    explicit NoteEditorViewController(QWidget *parent = nullptr);
    ~NoteEditorViewController() override;

    // Fields (outlets from the layout first).
    VideoControlsView *controlsView() const { return m_controlsView; }
    /// Setting the bar styles it and makes this editor its delegate.
    void setControlsView(VideoControlsView *view);
    MetadataView *metadataView() const { return m_metadataView; }
    QWidget *containerView() const { return m_containerView; }
    QWidget *controlsBackgroundView() const { return m_controlsBackgroundView; }
    LayoutConstraint controlsBottomConstraint;
    LayoutConstraint keyboardBackgroundHeightConstraint;
    bool isEditingNote = false;
    std::optional<ShareMethod> selectedShareMethod;
    /// The card's snapshot, taken on share and on close.
    std::optional<QImage> image;

    void openNotePanel(QWidget *container) override;
    void openSharePanel(QWidget *container) override;
    /// Commits the note panel, then shows the committed record on the card.
    void resetPanels() override;
    void hideShareView() override;

    void noteTapped() override;
    void shareTapped() override;
    void closeTapped() override;
    void toolDeselected() override;

    /// The share panel's callback: send to the picked destination.
    void sendAction();
    /// The card rendered at the screen's scale (an empty image when it
    /// cannot be drawn).
    QImage snapshotOfCard() const;

protected:
    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;
    void traitCollectionDidChange(Appearance previous) override;
    void keyboardWillShow(const KeyboardNotification &notification) override;
    void keyboardWillHide(const KeyboardNotification &notification) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void showCardAndBar();
    void applyColors();

    std::unique_ptr<Ui::NoteEditorViewController> m_ui;
    QPointer<VideoControlsView> m_controlsView;
    QPointer<MetadataView> m_metadataView;
    QPointer<QWidget> m_containerView;
    QPointer<QWidget> m_controlsBackgroundView;
};

} // namespace tessivo
