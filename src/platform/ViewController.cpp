#include "platform/ViewController.h"

#include "platform/Console.h"
#include "platform/Dispatch.h"
#include "platform/NavigationController.h"
#include "platform/OverlayKeyboard.h"
#include "platform/Storyboard.h"
#include "platform/TabBarController.h"
#include "platform/WindowOverlay.h"

#include <QAbstractButton>
#include <QEvent>
#include <QGraphicsOpacityEffect>
#include <QPropertyAnimation>
#include <QResizeEvent>

#include <utility>

namespace tessivo {
namespace {

// Stands in as the root controller of a host window that is not itself a
// controller. It is never shown; presentations go over its window.
class WindowRootViewController final : public ViewController
{
public:
    explicit WindowRootViewController(QWidget *window) : ViewController(window)
    {
        setObjectName(QStringLiteral("tessivo.windowRoot"));
        setAttribute(Qt::WA_DontShowOnScreen);
        hide();
        // It stands for the whole window: same size, so that anchors at its
        // centre are the window's centre.
        setGeometry(window->rect());
        window->installEventFilter(this);
    }
    bool isInWindow() const override
    {
        // An overlay is shown by what is presented in it, over its shown host.
        if (auto *overlay = qobject_cast<WindowOverlay *>(window()))
            return overlay->isHostShown();
        return window() && window()->isVisible();
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == parentWidget() && event->type() == QEvent::Resize)
            setGeometry(parentWidget()->rect());
        return ViewController::eventFilter(watched, event);
    }
};

QString className(const QObject *object)
{
    return object ? QString::fromLatin1(object->metaObject()->className()) : QStringLiteral("nil");
}

void fade(QWidget *widget, bool in, std::function<void()> done)
{
    auto *effect = new QGraphicsOpacityEffect(widget);
    widget->setGraphicsEffect(effect);
    auto *animation = new QPropertyAnimation(effect, "opacity", widget);
    animation->setStartValue(in ? 0.0 : 1.0);
    animation->setEndValue(in ? 1.0 : 0.0);
    animation->setDuration(static_cast<int>(ViewController::kTransitionDuration * 1000 * 2 / 3));
    QPointer<QWidget> guard(widget);
    QObject::connect(animation, &QPropertyAnimation::finished, widget,
                     [guard, done = std::move(done)] {
                         if (guard)
                             guard->setGraphicsEffect(nullptr);
                         done();
                     });
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void slide(QWidget *widget, bool in, std::function<void()> done)
{
    auto *animation = new QPropertyAnimation(widget, "pos", widget);
    const QPoint shown(0, 0);
    const QPoint hidden(0, widget->parentWidget() ? widget->parentWidget()->height() : widget->height());
    animation->setStartValue(in ? hidden : shown);
    animation->setEndValue(in ? shown : hidden);
    animation->setDuration(static_cast<int>(ViewController::kTransitionDuration * 1000));
    animation->setEasingCurve(in ? QEasingCurve::OutCubic : QEasingCurve::InCubic);
    QObject::connect(animation, &QPropertyAnimation::finished, widget, std::move(done));
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void animateTransition(ViewController *controller, bool in, std::function<void()> done)
{
    if (controller->modalTransitionStyle() == ModalTransitionStyle::crossDissolve)
        fade(controller, in, std::move(done));
    else
        slide(controller, in, std::move(done));
}

} // namespace

ViewController::ViewController(QWidget *parent) : QWidget(parent)
{
    m_lastAppearance = appearanceOf(this);
}

ViewController::~ViewController()
{
    // Presentations that were still waiting for a dismissal never happen.
    for (const WaitingPresentation &waiting : std::as_const(m_waitingPresentations)) {
        if (waiting.controller && !waiting.controller->parentWidget())
            waiting.controller->deleteLater();
    }
}

void ViewController::loadViewIfNeeded()
{
    if (m_viewLoaded)
        return;
    m_viewLoaded = true;
    viewDidLoad();
}

void ViewController::setTitle(const QString &title)
{
    if (m_title == title)
        return;
    m_title = title;
    Q_EMIT titleChanged(title);
}

bool ViewController::isInWindow() const
{
    return isVisible() && window() && window()->isVisible();
}

ViewController *ViewController::rootOf(QWidget *window)
{
    if (!window)
        return nullptr;
    window = window->window();
    if (auto *controller = qobject_cast<ViewController *>(window))
        return controller;
    const auto roots = window->findChildren<ViewController *>(QStringLiteral("tessivo.windowRoot"),
                                                              Qt::FindDirectChildrenOnly);
    if (!roots.isEmpty())
        return roots.first();
    return new WindowRootViewController(window);
}

NavigationController *ViewController::navigationController() const
{
    for (QWidget *w = parentWidget(); w; w = w->parentWidget()) {
        if (auto *nav = qobject_cast<NavigationController *>(w))
            return nav;
        if (w->isWindow())
            break;
    }
    return nullptr;
}

TabBarController *ViewController::tabBarController() const
{
    for (QWidget *w = parentWidget(); w; w = w->parentWidget()) {
        if (auto *tabs = qobject_cast<TabBarController *>(w))
            return tabs;
        if (w->isWindow())
            break;
    }
    return nullptr;
}

// Appearance ----------------------------------------------------------------

void ViewController::beginAppearanceTransition(bool appearing, bool animated)
{
    m_lastAnimated = animated;
    if (appearing) {
        if (m_appearance == AppearanceState::appeared || m_appearance == AppearanceState::appearing)
            return;
        loadViewIfNeeded();
        m_appearance = AppearanceState::appearing;
        viewWillAppear(animated);
    } else {
        if (m_appearance == AppearanceState::disappeared
            || m_appearance == AppearanceState::disappearing)
            return;
        m_appearance = AppearanceState::disappearing;
        viewWillDisappear(animated);
    }
}

void ViewController::endAppearanceTransition()
{
    if (m_appearance == AppearanceState::appearing) {
        m_appearance = AppearanceState::appeared;
        viewDidAppear(m_lastAnimated);
    } else if (m_appearance == AppearanceState::disappearing) {
        m_appearance = AppearanceState::disappeared;
        viewDidDisappear(m_lastAnimated);
    }
}

void ViewController::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // A plain show (a window root, a container's child) appears at once;
    // presentations and pushes drive the transition themselves.
    if (m_appearance == AppearanceState::disappeared) {
        beginAppearanceTransition(true, false);
        endAppearanceTransition();
    }
}

void ViewController::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (m_appearance == AppearanceState::appeared) {
        beginAppearanceTransition(false, false);
        endAppearanceTransition();
    }
}

void ViewController::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ThemeChange) {
        const Appearance now = appearanceOf(this);
        if (now != m_lastAppearance) {
            const Appearance previous = m_lastAppearance;
            m_lastAppearance = now;
            traitCollectionDidChange(previous);
        }
    }
}

// Presentation --------------------------------------------------------------

bool ViewController::present(ViewController *controller, bool animated,
                             std::function<void()> completion)
{
    if (!controller || controller == this)
        return false;
    if (m_presented && m_presented->m_beingDismissed) {
        m_waitingPresentations.append({controller, animated, std::move(completion)});
        return true;
    }
    if (m_presented) {
        consolePrint(QStringLiteral("Attempt to present %1 on %2 which is already presenting %3")
                         .arg(className(controller), className(this), className(m_presented)));
        if (!controller->parentWidget())
            controller->deleteLater();
        return false;
    }
    QWidget *host = window();
    if (!isInWindow() || !host) {
        consolePrint(QStringLiteral("Attempt to present %1 on %2 whose view is not in the window hierarchy")
                         .arg(className(controller), className(this)));
        if (!controller->parentWidget())
            controller->deleteLater();
        return false;
    }

    // Set-up runs before the controller is part of the window, so that it
    // can look at the window as it was.
    controller->loadViewIfNeeded();
    controller->m_ownedByPresentation = controller->parentWidget() == nullptr;
    controller->m_parentBeforePresentation = controller->parentWidget();
    controller->m_presenting = this;
    m_presented = controller;

    controller->attachOverlay(host);
    controller->m_beingPresented = true;
    if (controller->m_modalStyle == ModalPresentationStyle::fullScreen)
        beginAppearanceTransition(false, animated);
    controller->beginAppearanceTransition(true, animated);
    controller->show();
    controller->raise();
    OverlayKeyboard::shared().presented(controller);

    QPointer<ViewController> self(this);
    QPointer<ViewController> presented(controller);
    auto finish = [self, presented, completion = std::move(completion)]() {
        if (!presented)
            return;
        presented->m_beingPresented = false;
        presented->endAppearanceTransition();
        if (self && presented->m_modalStyle == ModalPresentationStyle::fullScreen)
            self->endAppearanceTransition();
        if (completion)
            completion();
    };
    if (animated)
        animateTransition(controller, true, std::move(finish));
    else
        dispatchMain(std::move(finish));
    return true;
}

void ViewController::attachOverlay(QWidget *window)
{
    if (m_overlayWindow)
        m_overlayWindow->removeEventFilter(this);
    m_overlayWindow = window;
    setParent(window);
    setGeometry(window->rect());
    window->installEventFilter(this);
}

bool ViewController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_overlayWindow && event->type() == QEvent::Resize && m_presenting) {
        const auto *resized = static_cast<QResizeEvent *>(event);
        if (!m_beingPresented && !m_beingDismissed)
            setGeometry(QRect(QPoint(0, 0), resized->size()));
        else
            resize(resized->size());
    }
    return QWidget::eventFilter(watched, event);
}

QList<ViewController *> ViewController::presentationChain()
{
    QList<ViewController *> chain;
    for (ViewController *c = this; c; c = c->m_presented.data())
        chain.append(c);
    return chain;
}

ViewController *ViewController::presentedAncestor() const
{
    for (QWidget *w = const_cast<ViewController *>(this); w; w = w->parentWidget()) {
        if (auto *controller = qobject_cast<ViewController *>(w); controller && controller->m_presenting)
            return controller;
        if (w->isWindow())
            break;
    }
    return nullptr;
}

ViewController *ViewController::presentingViewController() const
{
    if (m_presenting)
        return m_presenting.data();
    ViewController *ancestor = presentedAncestor();
    return ancestor ? ancestor->m_presenting.data() : nullptr;
}

void ViewController::dismiss(bool animated, std::function<void()> completion)
{
    // What goes: what this controller presents, else this controller (or
    // the presented container that holds it).
    ViewController *target = m_presented ? m_presented.data() : presentedAncestor();
    if (!target || target->m_beingDismissed) {
        if (completion)
            dispatchMain(std::move(completion));
        return;
    }

    // Everything above the target goes at once; the target animates.
    const QList<ViewController *> chain = target->presentationChain();
    for (ViewController *c : chain)
        c->m_beingDismissed = true;
    for (auto it = chain.crbegin(); it != chain.crend(); ++it)
        (*it)->beginAppearanceTransition(false, animated && *it == target);
    for (int i = chain.size() - 1; i > 0; --i)
        chain[i]->finishDismissal(false);

    QPointer<ViewController> presented(target);
    QPointer<ViewController> presenter(target->m_presenting);
    if (presenter && target->m_modalStyle == ModalPresentationStyle::fullScreen)
        presenter->beginAppearanceTransition(true, animated);
    auto finish = [presented, presenter, completion = std::move(completion)]() {
        if (presented)
            presented->finishDismissal(true);
        if (presenter && presenter->m_appearance == AppearanceState::appearing)
            presenter->endAppearanceTransition();
        if (completion)
            completion();
        if (presenter)
            presenter->presentWaiting();
    };
    if (animated)
        animateTransition(target, false, std::move(finish));
    else
        dispatchMain(std::move(finish));
}

void ViewController::finishDismissal(bool)
{
    const QPointer<QWidget> window = m_overlayWindow;
    if (m_overlayWindow)
        m_overlayWindow->removeEventFilter(this);
    if (m_presenting && m_presenting->m_presented == this)
        m_presenting->m_presented = nullptr;
    m_presenting = nullptr;
    m_beingDismissed = false;
    m_beingPresented = false;
    hide();
    endAppearanceTransition();
    if (m_ownedByPresentation) {
        deleteLater();
    } else if (m_parentBeforePresentation) {
        setParent(m_parentBeforePresentation);
    }
    OverlayKeyboard::shared().dismissed(window);
}

bool ViewController::escapePressed()
{
    const auto buttons = findChildren<QAbstractButton *>();
    for (QAbstractButton *button : buttons) {
        if (button->property(OverlayKeyboard::kCancelButtonProperty).toBool() && button->isVisible()
            && button->isEnabled()) {
            button->click();
            return true;
        }
    }
    return false;
}

void ViewController::presentWaiting()
{
    const QList<WaitingPresentation> waiting = std::exchange(m_waitingPresentations, {});
    for (const WaitingPresentation &next : waiting) {
        if (next.controller)
            present(next.controller, next.animated, next.completion);
    }
}

// Segues --------------------------------------------------------------------

void ViewController::prepare(StoryboardSegue &, QObject *) {}

void ViewController::performSegue(const QString &identifier, QObject *sender)
{
    const Storyboard &storyboard = Storyboard::named(m_storyboardName);
    ViewController *destination = storyboard.instantiateSegueDestination(identifier);
    StoryboardSegue segue(identifier, this, destination);
    prepare(segue, sender);
    if (storyboard.segueKind(identifier) == SegueKind::show && navigationController())
        navigationController()->pushViewController(destination, true);
    else
        present(destination, true);
}

} // namespace tessivo
