// Presentation, dismissal, the top-most rule and alert anchoring.
#include "core/KitAlerts.h"
#include "core/TopMost.h"
#include "platform/AlertController.h"
#include "platform/Device.h"
#include "platform/NavigationController.h"
#include "platform/TabBarController.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

using namespace tessivo;

namespace {

ViewController *named(const QString &title)
{
    auto *c = new ViewController;
    c->setTitle(title);
    c->setObjectName(title);
    return c;
}

// A host window that becomes the key window.
std::unique_ptr<QWidget> keyWindow(QWidget *content = nullptr)
{
    std::unique_ptr<QWidget> window(content ? content : new QWidget);
    window->resize(400, 600);
    window->show();
    window->activateWindow();
    QApplication::setActiveWindow(window.get());
    return window;
}

class CountingController : public ViewController
{
public:
    int loads = 0, willAppear = 0, didAppear = 0, willDisappear = 0, didDisappear = 0;

protected:
    void viewDidLoad() override { ++loads; }
    void viewWillAppear(bool) override { ++willAppear; }
    void viewDidAppear(bool) override { ++didAppear; }
    void viewWillDisappear(bool) override { ++willDisappear; }
    void viewDidDisappear(bool) override { ++didDisappear; }
};

} // namespace

class PresentationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Device::setUserInterfaceIdiom(UserInterfaceIdiom::pad); }

    void topMostFollowsNavigationTabsAndPresentations()
    {
        // Host window whose root is a tab bar holding a navigation stack.
        auto *tabs = new TabBarController;
        auto *nav = new NavigationController(named("first"));
        nav->setTitle("nav");
        tabs->setViewControllers({nav, named("second")});
        auto window = keyWindow(tabs);

        QCOMPARE(topMostViewController(), nav->topViewController());
        nav->pushViewController(named("pushed"), false);
        QCOMPARE(topMostViewController()->objectName(), QString("pushed"));

        tabs->setSelectedIndex(1);
        QCOMPARE(topMostViewController()->objectName(), QString("second"));

        // A chain of presentations: the last presented wins.
        ViewController *second = topMostViewController();
        auto *a = named("A");
        auto *b = named("B");
        bool aDone = false;
        second->present(a, false, [&] { aDone = true; });
        QTRY_VERIFY(aDone);
        QCOMPARE(a->presentingViewController(), second);
        QCOMPARE(topMostViewController(), a);
        a->present(b, false);
        QTRY_COMPARE(topMostViewController(), b);

        // A navigation controller presented in the chain shows its top.
        auto *presentedNav = new NavigationController(named("inner"));
        b->present(presentedNav, false);
        QTRY_COMPARE(topMostViewController()->objectName(), QString("inner"));
    }

    void topMostUsesMoreNavigationOnlyWhileItIsShown()
    {
        auto *tabs = new TabBarController;
        QList<ViewController *> controllers;
        for (int i = 0; i < 7; ++i)
            controllers << named(QString("tab%1").arg(i));
        tabs->setViewControllers(controllers);
        auto window = keyWindow(tabs);

        QCOMPARE(topMostViewController()->objectName(), QString("tab0"));
        tabs->setSelectedIndex(5); // past the tab bar: through "More"
        QVERIFY(tabs->moreNavigationController()->isInWindow());
        QCOMPARE(topMostViewController()->objectName(), QString("tab5"));
        tabs->setSelectedIndex(1);
        QVERIFY(!tabs->moreNavigationController()->isInWindow());
        QCOMPARE(topMostViewController()->objectName(), QString("tab1"));
        // The controller that went through More is still there.
        tabs->setSelectedIndex(5);
        QCOMPARE(topMostViewController()->objectName(), QString("tab5"));
    }

    void topMostOfAPlainHostWindowIsItsStandIn()
    {
        auto window = keyWindow();
        ViewController *root = topMostViewController();
        QVERIFY(root);
        QCOMPARE(root->window(), window.get());
        QCOMPARE(ViewController::rootOf(window.get()), root); // made once
        QVERIFY(!root->isVisible());
    }

    void presentationRunsHooksAndCompletionsInOrder()
    {
        auto window = keyWindow();
        ViewController *root = ViewController::rootOf(window.get());
        QPointer<CountingController> c = new CountingController;
        bool presented = false;
        root->present(c, true, [&] {
            presented = true;
            QCOMPARE(c->didAppear, 1); // completion after the appearance ends
        });
        QCOMPARE(c->loads, 1);
        QCOMPARE(c->willAppear, 1);
        QCOMPARE(c->didAppear, 0); // still animating
        QVERIFY(c->isBeingPresented());
        QTRY_VERIFY(presented);
        QCOMPARE(c->geometry(), window->rect());

        // Presenting again while presenting does nothing and never completes.
        bool second = false;
        QPointer<ViewController> other = named("other");
        root->present(other, false, [&] { second = true; });
        QTest::qWait(50);
        QVERIFY(!second);
        QTRY_VERIFY(!other); // the refused, parentless controller is freed

        window->resize(500, 700);
        QTRY_COMPARE(c->geometry(), window->rect());

        bool dismissed = false;
        c->dismiss(true, [&] { dismissed = true; });
        QCOMPARE(c->willDisappear, 1);
        QTRY_VERIFY(dismissed);
        QVERIFY(!root->presentedViewController());
        QTRY_VERIFY(!c); // owned by the presentation, so freed after it
    }

    void dismissingFromBelowRemovesTheWholeChain()
    {
        auto window = keyWindow();
        ViewController *root = ViewController::rootOf(window.get());
        QPointer<ViewController> a = named("A"), b = named("B");
        root->present(a, false);
        a->present(b, false);
        QTRY_COMPARE(topMostViewController(), b.data());
        bool done = false;
        root->dismiss(false, [&] { done = true; });
        QTRY_VERIFY(done);
        QTRY_VERIFY(!a && !b);
        QCOMPARE(topMostViewController(), root);

        // A controller with a parent of its own gets it back.
        QWidget keeper;
        auto *kept = new ViewController(&keeper);
        root->present(kept, false);
        QTRY_COMPARE(topMostViewController(), kept);
        done = false;
        kept->dismiss(false, [&] { done = true; });
        QTRY_VERIFY(done);
        QCOMPARE(kept->parentWidget(), &keeper);
    }

    void aWindowThatClosesDuringAPresentation()
    {
        auto window = keyWindow();
        ViewController *root = ViewController::rootOf(window.get());
        QPointer<ViewController> c = named("c");
        bool completed = false;
        root->present(c, true, [&] { completed = true; });
        window.reset(); // gone mid-animation
        QTest::qWait(int(ViewController::kTransitionDuration * 1000) + 100);
        QVERIFY(!c);
        QVERIFY(!completed);

        // Nothing is presented from a controller whose window is hidden.
        auto hidden = std::make_unique<QWidget>();
        ViewController *hiddenRoot = ViewController::rootOf(hidden.get());
        QPointer<ViewController> d = named("d");
        hiddenRoot->present(d, false);
        QVERIFY(!hiddenRoot->presentedViewController());
        QTRY_VERIFY(!d);
    }

    void alertsAreAnchoredAtThePresentersCentreOnLargeScreens()
    {
        auto window = keyWindow();
        window->resize(800, 600);
        auto *alert = new AlertController(QString("Title"), QString("Message"), AlertControllerStyle::alert);
        alert->addAction(AlertAction("Ok", AlertActionStyle::default_));
        ViewController *presenter = presentKitAlert(alert);
        QCOMPARE(presenter, ViewController::rootOf(window.get()));
        PopoverPresentation *popover = alert->popoverPresentationController();
        QVERIFY(popover);
        QCOMPARE(popover->sourceView.data(), presenter);
        QCOMPARE(popover->sourceRect, QRectF(400, 300, 0, 0));
        QCOMPARE(popover->permittedArrowDirections, 0u);
        QTRY_VERIFY(alert->hasAppeared());
        QCOMPARE(alert->card()->geometry().center(), QPoint(400, 300));

        // An action runs its handler once the alert has gone.
        bool handled = false;
        auto *sheet = new AlertController(std::nullopt, std::nullopt, AlertControllerStyle::actionSheet);
        sheet->addAction(AlertAction("Delete", AlertActionStyle::destructive,
                                     [&](const AlertAction &a) {
                                         QCOMPARE(a.title(), QString("Delete"));
                                         handled = true;
                                     }));
        alert->tapAction(0);
        QTRY_VERIFY(!presenter->presentedViewController());
        presentKitAlert(sheet);
        QTRY_VERIFY(sheet->hasAppeared());
        QCOMPARE(sheet->card()->geometry().center(), QPoint(400, 300));
        sheet->tapAction(0);
        QVERIFY(!handled);
        QTRY_VERIFY(handled);
    }

    void phonesGetNoPopoverAndSheetsSitAtTheBottom()
    {
        Device::setUserInterfaceIdiom(UserInterfaceIdiom::phone);
        auto window = keyWindow();
        auto *sheet = new AlertController(std::nullopt, std::nullopt, AlertControllerStyle::actionSheet);
        sheet->addAction(AlertAction("Cancel", AlertActionStyle::cancel));
        QVERIFY(!sheet->popoverPresentationController());
        presentKitAlert(sheet);
        QTRY_VERIFY(sheet->hasAppeared());
        QCOMPARE(sheet->card()->geometry().bottom(), window->height() - 8 - 1);
    }

    void alertTextFieldsKeepPlaceholders()
    {
        AlertController alert(QString("Add your name"), std::nullopt, AlertControllerStyle::alert);
        alert.addTextField([](QLineEdit *f) { f->setPlaceholderText("GoldenFish"); });
        QCOMPARE(alert.textFields().size(), 1);
        QCOMPARE(alert.textFields().first()->placeholderText(), QString("GoldenFish"));
        QVERIFY(alert.textFields().first()->text().isEmpty());
    }
};

QTEST_MAIN(PresentationTest)
#include "tst_presentation.moc"
