// A stack of controllers with a simple bar (title and back button).
#pragma once

#include "platform/ViewController.h"

#include <QList>
#include <QPointer>

class QLabel;
class QPushButton;
class QStackedLayout;

namespace tessivo {

class TESSIVO_EXPORT NavigationController : public ViewController
{
    Q_OBJECT
public:
    explicit NavigationController(ViewController *root = nullptr, QWidget *parent = nullptr);

    QList<ViewController *> viewControllers() const;
    void setViewControllers(const QList<ViewController *> &controllers, bool animated);
    ViewController *topViewController() const;
    /// The controller presented over this one when there is one, otherwise
    /// the top of the stack.
    ViewController *visibleViewController() const;

    void pushViewController(ViewController *controller, bool animated);
    /// Pops the top controller (never the root) and returns it; it is
    /// deleted later unless it was re-parented before the pop.
    ViewController *popViewController(bool animated);
    void popToRootViewController(bool animated);

    bool isNavigationBarHidden() const { return m_barHidden; }
    void setNavigationBarHidden(bool hidden);

protected:
    /// Loading the container loads its top controller too, so that a
    /// presented stack has done its set-up before it is on screen.
    void viewDidLoad() override;

private:
    void showController(ViewController *controller, bool animated, bool forward);
    void updateBar();
    void discard(ViewController *controller);

    QList<QPointer<ViewController>> m_stack;
    QWidget *m_bar = nullptr;
    QLabel *m_titleLabel = nullptr;
    QPushButton *m_backButton = nullptr;
    QStackedLayout *m_stackLayout = nullptr;
    bool m_barHidden = false;
};

} // namespace tessivo
