// The editor of a screen-video report: the recording plays once; the note
// and share panels sit over it; sending or quitting first turns the report's
// card into a clip placed before and after the video.
#pragma once

#include "editors/EditorViewController.h"
#include "editors/VideoControlsView.h"
#include "platform/LayoutConstraint.h"
#include "platform/PlayerView.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

#include <QMediaPlayer>

namespace Ui {
class VideoEditorViewController;
}

namespace tessivo {

class VideoMetadataView;

class TESSIVO_EXPORT VideoEditorViewController : public EditorViewController
{
    Q_OBJECT
    Q_PROPERTY(QUrl videoFileURL READ videoFileURLProperty WRITE setVideoFileURLProperty)
public:
    /// The widest the tool bar grows on a wide window.
    static constexpr int kMaximumBarWidth = 600;
    explicit VideoEditorViewController(QWidget *parent = nullptr);
    ~VideoEditorViewController() override;

    // Fields (outlets from the layout first).
    QWidget *containerView() const { return m_containerView; }
    QWidget *videoView() const { return m_videoView; }
    VideoControlsView *videoControlsView() const { return m_videoControlsView; }
    /// Setting the bar styles it and makes this editor its delegate.
    void setVideoControlsView(VideoControlsView *view);
    LayoutConstraint controlsBottomConstraint;
    LayoutConstraint keyboardBackgroundHeightConstraint;
    std::optional<QUrl> videoFileURL;
    QMediaPlayer *player() const { return m_player; }
    /// The view that shows the player, filling `videoView`.
    PlayerView *avpController() const { return m_playerView; }
    bool isEditingNote = false;

    void noteTapped() override;
    void shareTapped() override;
    void closeTapped() override;
    void toolDeselected() override;
    void hideShareView() override;
    void openNotePanel(QWidget *container) override;
    void openSharePanel(QWidget *container) override;

    /// The share panel's callback: merge, then send.
    void sendAction();

    /// The merged movie and the card's two texts, once the card clip is
    /// made and joined. The completion runs on the GUI thread.
    struct MergedReport {
        QUrl fileURL;
        QString summary;
        QString details;
    };
    void mergeReport(std::function<void(const MergedReport &)> completion);

protected:
    void viewDidLoad() override;
    void viewDidAppear(bool animated) override;
    void traitCollectionDidChange(Appearance previous) override;
    void keyboardWillShow(const KeyboardNotification &notification) override;
    void keyboardWillHide(const KeyboardNotification &notification) override;
    void done() override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QUrl videoFileURLProperty() const { return videoFileURL.value_or(QUrl()); }
    void setVideoFileURLProperty(const QUrl &url);
    void setupPlayer();
    void endNoteEditing();
    void setBusy(bool busy);

    std::unique_ptr<Ui::VideoEditorViewController> m_ui;
    QPointer<QWidget> m_containerView;
    QPointer<QWidget> m_videoView;
    QPointer<VideoControlsView> m_videoControlsView;
    QPointer<QMediaPlayer> m_player;
    QPointer<PlayerView> m_playerView;
    /// The card of the last merge; a window of its own, never shown.
    std::unique_ptr<VideoMetadataView> m_card;
    bool m_merging = false;
};

} // namespace tessivo
