// The welcome and help screen for testers, shown once per installation.
#pragma once

#include "platform/LayoutConstraint.h"
#include "platform/ViewController.h"

#include <QPointer>

#include <memory>

#include <QLabel>
class QPushButton;
#include <QTextEdit>

namespace Ui {
class TestingNotesViewController;
}

namespace tessivo {

class VisualEffectView;

class TESSIVO_EXPORT TestingNotesViewController : public ViewController
{
    Q_OBJECT
public:
    explicit TestingNotesViewController(QWidget *parent = nullptr);
    ~TestingNotesViewController() override;

    /// The close button's action: dismiss, animated.
    void beginTesting();

    QPointer<QLabel> appIconImageView;
    QPointer<QLabel> appNameLabel;
    QPointer<QLabel> appVersionLabel;
    QPointer<QTextEdit> notesTextView;
    QPointer<QLabel> gestureImageView;
    QPointer<QLabel> gestureInfoLabel;
    /// Without a motion sensor: how to shake here (the shortcut, the
    /// pointer), under gestureInfoLabel; hidden for other gestures.
    QPointer<QLabel> desktopShakeLabel;
    QPointer<QLabel> testingNotesLabel;
    QPointer<QWidget> helperView;
    LayoutConstraint notesTextViewBottomConstraint;
    LayoutConstraint testingNotesLabelHeightConstraint;
    LayoutConstraint testingNotesLabelTopConstraint;
    QPointer<VisualEffectView> visualEffectView;

    /// Whether the notes scroll (only when they are taller than a fifth of
    /// the screen).
    bool isNotesScrollEnabled() const { return m_notesScroll; }

protected:
    void viewDidLoad() override;
    void viewWillAppear(bool animated) override;
    void resizeEvent(QResizeEvent *event) override;
    void traitCollectionDidChange(Appearance previous) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void applyBackdrop();
    void applyColors();
    void setNotesScrollEnabled(bool enabled);
    void arrangeCard();
    void fitNotes();

    std::unique_ptr<Ui::TestingNotesViewController> m_ui;
    bool m_notesScroll = false;
};

} // namespace tessivo
