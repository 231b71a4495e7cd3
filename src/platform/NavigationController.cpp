#include "platform/NavigationController.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace tessivo {

NavigationController::NavigationController(ViewController *root, QWidget *parent)
    : ViewController(parent)
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    m_bar = new QWidget(this);
    m_bar->setObjectName(QStringLiteral("navigationBar"));
    m_bar->setFixedHeight(44);
    auto *barLayout = new QHBoxLayout(m_bar);
    barLayout->setContentsMargins(8, 0, 8, 0);
    m_backButton = new QPushButton(tr("‹ Back"), m_bar);
    m_backButton->setFlat(true);
    m_backButton->setCursor(Qt::PointingHandCursor);
    connect(m_backButton, &QPushButton::clicked, this, [this] { popViewController(true); });
    m_titleLabel = new QLabel(m_bar);
    m_titleLabel->setAlignment(Qt::AlignCenter);
    QFont titleFont = m_titleLabel->font();
    titleFont.setBold(true);
    m_titleLabel->setFont(titleFont);
    barLayout->addWidget(m_backButton, 0, Qt::AlignLeft);
    barLayout->addWidget(m_titleLabel, 1);
    barLayout->addSpacing(m_backButton->sizeHint().width());
    outer->addWidget(m_bar);

    auto *content = new QWidget(this);
    m_stackLayout = new QStackedLayout(content);
    outer->addWidget(content, 1);

    if (root)
        setViewControllers({root}, false);
    updateBar();
}

void NavigationController::viewDidLoad()
{
    ViewController::viewDidLoad();
    if (ViewController *top = topViewController())
        top->loadViewIfNeeded();
}

QList<ViewController *> NavigationController::viewControllers() const
{
    QList<ViewController *> result;
    for (const auto &c : m_stack) {
        if (c)
            result.append(c.data());
    }
    return result;
}

ViewController *NavigationController::topViewController() const
{
    for (auto it = m_stack.crbegin(); it != m_stack.crend(); ++it) {
        if (*it)
            return it->data();
    }
    return nullptr;
}

ViewController *NavigationController::visibleViewController() const
{
    if (ViewController *presented = presentedViewController())
        return presented;
    return topViewController();
}

void NavigationController::setViewControllers(const QList<ViewController *> &controllers,
                                              bool animated)
{
    const QList<ViewController *> old = viewControllers();
    m_stack.clear();
    for (ViewController *c : controllers) {
        m_stackLayout->addWidget(c);
        m_stack.append(c);
    }
    for (ViewController *c : old) {
        if (!controllers.contains(c))
            discard(c);
    }
    if (ViewController *top = topViewController())
        showController(top, animated, true);
    updateBar();
}

void NavigationController::pushViewController(ViewController *controller, bool animated)
{
    if (!controller || viewControllers().contains(controller))
        return;
    m_stackLayout->addWidget(controller);
    m_stack.append(controller);
    showController(controller, animated, true);
    updateBar();
}

ViewController *NavigationController::popViewController(bool animated)
{
    if (viewControllers().size() < 2)
        return nullptr;
    ViewController *popped = topViewController();
    m_stack.removeLast();
    showController(topViewController(), animated, false);
    discard(popped);
    updateBar();
    return popped;
}

void NavigationController::popToRootViewController(bool animated)
{
    while (viewControllers().size() > 1)
        popViewController(animated && viewControllers().size() == 2);
}

void NavigationController::discard(ViewController *controller)
{
    const bool ours = controller->parentWidget() == m_stackLayout->parentWidget();
    m_stackLayout->removeWidget(controller);
    // A controller that a container has already taken back is left alone.
    if (ours) {
        controller->hide();
        controller->deleteLater();
    }
}

void NavigationController::setNavigationBarHidden(bool hidden)
{
    m_barHidden = hidden;
    updateBar();
}

void NavigationController::showController(ViewController *controller, bool animated, bool forward)
{
    if (!controller)
        return;
    m_stackLayout->setCurrentWidget(controller);
    if (!animated || !isVisible())
        return;
    auto *animation = new QPropertyAnimation(controller, "pos", controller);
    const int width = controller->width();
    animation->setStartValue(QPoint(forward ? width : -width / 3, 0));
    animation->setEndValue(QPoint(0, 0));
    animation->setDuration(static_cast<int>(kTransitionDuration * 1000));
    animation->setEasingCurve(QEasingCurve::OutCubic);
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void NavigationController::updateBar()
{
    m_bar->setVisible(!m_barHidden);
    ViewController *top = topViewController();
    m_titleLabel->setText(top ? top->title() : QString());
    m_backButton->setVisible(viewControllers().size() > 1);
    if (top) {
        connect(top, &ViewController::titleChanged, m_titleLabel, &QLabel::setText,
                Qt::UniqueConnection);
    }
}

} // namespace tessivo
