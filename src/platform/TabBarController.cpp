#include "platform/TabBarController.h"

#include "platform/NavigationController.h"

#include <QListWidget>
#include <QStackedLayout>
#include <QTabBar>
#include <QVBoxLayout>

namespace tessivo {

TabBarController::TabBarController(QWidget *parent) : ViewController(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto *content = new QWidget(this);
    m_stack = new QStackedLayout(content);
    layout->addWidget(content, 1);
    m_tabBar = new QTabBar(this);
    m_tabBar->setExpanding(true);
    layout->addWidget(m_tabBar);

    auto *moreRoot = new ViewController;
    moreRoot->setTitle(tr("More"));
    auto *moreLayout = new QVBoxLayout(moreRoot);
    moreLayout->setContentsMargins(0, 0, 0, 0);
    m_moreList = new QListWidget(moreRoot);
    moreLayout->addWidget(m_moreList);
    m_more = new NavigationController(moreRoot);
    m_stack->addWidget(m_more);
    connect(m_moreList, &QListWidget::itemActivated, this, [this](QListWidgetItem *item) {
        setSelectedIndex(item->data(Qt::UserRole).toInt());
    });
    connect(m_tabBar, &QTabBar::currentChanged, this, &TabBarController::onTabChanged);
}

QList<ViewController *> TabBarController::viewControllers() const
{
    QList<ViewController *> result;
    for (const auto &c : m_controllers) {
        if (c)
            result.append(c.data());
    }
    return result;
}

int TabBarController::visibleTabCount() const
{
    return hasMoreTab() ? kMaximumTabs - 1 : static_cast<int>(m_controllers.size());
}

void TabBarController::setViewControllers(const QList<ViewController *> &controllers)
{
    m_controllers.clear();
    for (ViewController *c : controllers) {
        m_controllers.append(c);
        m_stack->addWidget(c);
    }
    rebuildTabs();
    setSelectedIndex(controllers.isEmpty() ? -1 : 0);
}

void TabBarController::rebuildTabs()
{
    m_rebuilding = true;
    while (m_tabBar->count() > 0)
        m_tabBar->removeTab(0);
    m_moreList->clear();
    const int tabs = visibleTabCount();
    for (int i = 0; i < m_controllers.size(); ++i) {
        const QString title = m_controllers[i] ? m_controllers[i]->title() : QString();
        if (i < tabs) {
            m_tabBar->addTab(title);
        } else {
            auto *item = new QListWidgetItem(title, m_moreList);
            item->setData(Qt::UserRole, i);
        }
    }
    if (hasMoreTab())
        m_tabBar->addTab(tr("More"));
    m_rebuilding = false;
}

ViewController *TabBarController::selectedViewController() const
{
    if (m_selectedIndex < 0 || m_selectedIndex >= m_controllers.size())
        return nullptr;
    if (m_selectedIndex >= visibleTabCount())
        return m_more;
    return m_controllers[m_selectedIndex].data();
}

void TabBarController::setSelectedIndex(int index)
{
    if (index < 0 || index >= m_controllers.size()) {
        m_selectedIndex = -1;
        return;
    }
    m_selectedIndex = index;
    ViewController *controller = m_controllers[index].data();
    m_rebuilding = true;
    if (index < visibleTabCount()) {
        returnMoreControllers();
        m_stack->setCurrentWidget(controller);
        m_tabBar->setCurrentIndex(index);
    } else {
        // Pushed onto the More navigation controller, as the platform does.
        if (!m_more->viewControllers().contains(controller)) {
            returnMoreControllers();
            m_more->pushViewController(controller, false);
        }
        m_stack->setCurrentWidget(m_more);
        m_tabBar->setCurrentIndex(kMaximumTabs - 1);
    }
    m_rebuilding = false;
}

void TabBarController::returnMoreControllers()
{
    const auto stack = m_more->viewControllers();
    if (stack.size() < 2)
        return;
    for (ViewController *c : stack.mid(1))
        m_stack->addWidget(c); // back to the tab stack, which owns them
    m_more->setViewControllers({stack.first()}, false);
}

void TabBarController::onTabChanged(int tab)
{
    if (m_rebuilding || tab < 0)
        return;
    if (hasMoreTab() && tab == kMaximumTabs - 1) {
        m_selectedIndex = kMaximumTabs - 1;
        returnMoreControllers();
        m_stack->setCurrentWidget(m_more);
        return;
    }
    setSelectedIndex(tab);
}

} // namespace tessivo
