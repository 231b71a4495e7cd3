// The first screen of a feedback session: screen video, screenshot or note.
#pragma once

#include "platform/ViewController.h"

#include <QImage>
#include <QPointer>

#include <memory>
#include <optional>

#include <QLabel>

namespace Ui {
class SelectOptionViewController;
}

namespace tessivo {

class TESSIVO_EXPORT SelectOptionViewController : public ViewController
{
    Q_OBJECT
public:
    explicit SelectOptionViewController(QWidget *parent = nullptr);
    ~SelectOptionViewController() override;

    /// Assigning a tile styles it and makes a tap on it run its action.
    void setImageView(QWidget *tile);
    void setVideoView(QWidget *tile);
    void setScreenshotView(QWidget *tile);
    /// Assigning the caption sets it from the recording consent.
    void setVideoDescriptionLabel(QLabel *label);

    QLabel *videoDescriptionLabel() const { return m_videoDescriptionLabel.data(); }
    QWidget *imageView() const { return m_imageView.data(); }
    QWidget *videoView() const { return m_videoView.data(); }
    QWidget *screenshotView() const { return m_screenshotView.data(); }
    /// The key window as it was when the screen loaded; empty with no key
    /// window.
    const std::optional<QImage> &screenshot() const { return m_screenshot; }

    // Actions of the tiles and the close control.
    void showNoteMenu();
    void showVideoMenu();
    void showScreenshotMenu();
    void closeMainScreen();

    /// The tile look for an appearance (shared with the gallery and tests).
    static void styleTile(QWidget *tile, Appearance appearance);

protected:
    void viewDidLoad() override;
    void traitCollectionDidChange(Appearance previous) override;
    void prepare(StoryboardSegue &segue, QObject *sender) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void attachTap(QWidget *tile, void (SelectOptionViewController::*action)());
    void applyColors();

    std::unique_ptr<Ui::SelectOptionViewController> m_ui;
    QPointer<QLabel> m_videoDescriptionLabel;
    QPointer<QWidget> m_imageView;
    QPointer<QWidget> m_videoView;
    QPointer<QWidget> m_screenshotView;
    std::optional<QImage> m_screenshot;
};

} // namespace tessivo
