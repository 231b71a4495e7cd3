// Tabs of controllers. Beyond five tabs, the fifth becomes "More", whose
// navigation controller lists the rest.
#pragma once

#include "platform/ViewController.h"

#include <QList>
#include <QPointer>

class QListWidget;
class QStackedLayout;
class QTabBar;

namespace tessivo {

class NavigationController;

class TESSIVO_EXPORT TabBarController : public ViewController
{
    Q_OBJECT
public:
    static constexpr int kMaximumTabs = 5;

    explicit TabBarController(QWidget *parent = nullptr);

    QList<ViewController *> viewControllers() const;
    void setViewControllers(const QList<ViewController *> &controllers);

    /// The selected controller; the "More" navigation controller while
    /// the More tab is selected.
    ViewController *selectedViewController() const;
    int selectedIndex() const { return m_selectedIndex; }
    /// Selects a controller by index; indexes past the tab bar go through
    /// the More tab.
    void setSelectedIndex(int index);

    NavigationController *moreNavigationController() const { return m_more; }

private:
    bool hasMoreTab() const { return m_controllers.size() > kMaximumTabs; }
    int visibleTabCount() const;
    void rebuildTabs();
    void onTabChanged(int tab);
    void returnMoreControllers();

    QList<QPointer<ViewController>> m_controllers;
    QTabBar *m_tabBar = nullptr;
    QStackedLayout *m_stack = nullptr;
    NavigationController *m_more = nullptr;
    QListWidget *m_moreList = nullptr;
    int m_selectedIndex = -1;
    bool m_rebuilding = false;
};

} // namespace tessivo
