// The view-controller model: a QWidget with the lifecycle hooks of a screen,
// modal presentation over the window, navigation and segues.
#pragma once

#include "platform/Appearance.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QWidget>

#include <functional>

namespace tessivo {

class NavigationController;
class TabBarController;
class StoryboardSegue;

/// Modal presentation styles with their raw values.
enum class ModalPresentationStyle {
    automatic = -2,
    fullScreen = 0,
    pageSheet = 1,
    formSheet = 2,
    currentContext = 3,
    custom = 4,
    overFullScreen = 5,
    overCurrentContext = 6,
    popover = 7,
};

enum class ModalTransitionStyle { coverVertical = 0, flipHorizontal = 1, crossDissolve = 2 };

class TESSIVO_EXPORT ViewController : public QWidget
{
    Q_OBJECT
public:
    explicit ViewController(QWidget *parent = nullptr);
    ~ViewController() override;

    /// Runs viewDidLoad() once, the first time it is needed.
    void loadViewIfNeeded();
    bool isViewLoaded() const { return m_viewLoaded; }

    QString title() const { return m_title; }
    void setTitle(const QString &title);

    /// The storyboard identifier this controller was instantiated under.
    QString storyboardIdentifier() const { return m_storyboardIdentifier; }
    void setStoryboardIdentifier(const QString &id) { m_storyboardIdentifier = id; }
    /// The storyboard whose segues performSegue() looks up ("Main").
    QString storyboardName() const { return m_storyboardName; }
    void setStoryboardName(const QString &name) { m_storyboardName = name; }

    // Presentation ---------------------------------------------------------
    /// Presents `controller` over this controller's window. A controller
    /// without a parent is owned by the presentation and deleted after its
    /// dismissal; one with a parent gets it back. Nothing is presented (and
    /// the completion never runs) when this controller is not in a shown
    /// window or already presents another controller. While the controller
    /// it presents is being dismissed, the presentation waits until that
    /// dismissal has finished. Returns whether the controller was taken:
    /// presented now, or waiting for that dismissal.
    bool present(ViewController *controller, bool animated,
                 std::function<void()> completion = {});
    /// Dismisses the controller this one presents (with everything it
    /// presents in turn) or, when it presents nothing, this controller
    /// itself. The completion runs once the dismissal has finished.
    void dismiss(bool animated, std::function<void()> completion = {});

    ViewController *presentedViewController() const { return m_presented.data(); }
    /// The controller that presented this one or, for a controller held in
    /// a presented container, the one that presented the container.
    ViewController *presentingViewController() const;
    bool isBeingPresented() const { return m_beingPresented; }
    bool isBeingDismissed() const { return m_beingDismissed; }

    ModalPresentationStyle modalPresentationStyle() const { return m_modalStyle; }
    void setModalPresentationStyle(ModalPresentationStyle style) { m_modalStyle = style; }
    ModalTransitionStyle modalTransitionStyle() const { return m_transitionStyle; }
    void setModalTransitionStyle(ModalTransitionStyle style) { m_transitionStyle = style; }
    bool definesPresentationContext() const { return m_definesPresentationContext; }
    void setDefinesPresentationContext(bool defines) { m_definesPresentationContext = defines; }

    /// The nearest navigation controller that holds this controller.
    NavigationController *navigationController() const;
    /// The nearest tab bar controller that holds this controller.
    TabBarController *tabBarController() const;

    /// True when the controller's view is shown in a window.
    virtual bool isInWindow() const;

    /// Runs the segue registered under `identifier` in this controller's
    /// storyboard: creates the destination, calls prepare(), then shows it
    /// (pushed on the navigation controller, or presented).
    void performSegue(const QString &identifier, QObject *sender);

    /// The window's root controller: the top-level widget itself when it is
    /// a controller, otherwise an invisible stand-in that lets the kit
    /// present over any host window.
    static ViewController *rootOf(QWidget *window);

    /// Appearance transitions, used by containers and presentations.
    void beginAppearanceTransition(bool appearing, bool animated);
    void endAppearanceTransition();
    bool hasAppeared() const { return m_appearance == AppearanceState::appeared; }

    /// What Escape does while this controller is the top-most one over its
    /// window: presses its visible, enabled close or cancel button (marked
    /// with OverlayKeyboard::markCancelButton). Returns whether one ran.
    virtual bool escapePressed();

    /// Presentations animate over this many seconds.
    static constexpr double kTransitionDuration = 0.3;

Q_SIGNALS:
    void titleChanged(const QString &title);

protected:
    virtual void viewDidLoad() {}
    virtual void viewWillAppear(bool animated) { Q_UNUSED(animated) }
    virtual void viewDidAppear(bool animated) { Q_UNUSED(animated) }
    virtual void viewWillDisappear(bool animated) { Q_UNUSED(animated) }
    virtual void viewDidDisappear(bool animated) { Q_UNUSED(animated) }
    /// Called when the appearance (light/dark) of the view changes.
    virtual void traitCollectionDidChange(Appearance previous) { Q_UNUSED(previous) }
    /// Called by performSegue() before the destination is shown.
    virtual void prepare(StoryboardSegue &segue, QObject *sender);

    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    enum class AppearanceState { disappeared, appearing, appeared, disappearing };

    void attachOverlay(QWidget *window);
    void finishDismissal(bool animated);
    void presentWaiting();
    QList<ViewController *> presentationChain();
    ViewController *presentedAncestor() const;

    QString m_title;
    QString m_storyboardIdentifier;
    QString m_storyboardName = QStringLiteral("Main");
    struct WaitingPresentation {
        QPointer<ViewController> controller;
        bool animated;
        std::function<void()> completion;
    };
    QList<WaitingPresentation> m_waitingPresentations;
    QPointer<ViewController> m_presented;
    QPointer<ViewController> m_presenting;
    QPointer<QWidget> m_parentBeforePresentation;
    QPointer<QWidget> m_overlayWindow;
    ModalPresentationStyle m_modalStyle = ModalPresentationStyle::automatic;
    ModalTransitionStyle m_transitionStyle = ModalTransitionStyle::coverVertical;
    AppearanceState m_appearance = AppearanceState::disappeared;
    bool m_lastAnimated = false;
    Appearance m_lastAppearance = Appearance::light;
    bool m_viewLoaded = false;
    bool m_definesPresentationContext = false;
    bool m_beingPresented = false;
    bool m_beingDismissed = false;
    bool m_ownedByPresentation = false;
};

} // namespace tessivo
