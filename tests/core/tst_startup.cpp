// The documented start-up on a desktop: the host shows its window and
// configures the kit at once, before the platform has made the window
// active. A process of its own, so that nothing was ever key before.
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "platform/Application.h"
#include "platform/SwipeGestureRecognizer.h"
#include "TestSupport.h"

#include <QApplication>
#include <QPointingDevice>
#include <QTest>

#include <memory>

using namespace tessivo;

namespace {

int kitSwipes(const QWidget *window)
{
    int count = 0;
    for (GestureRecognizer *r : GestureRecognizer::recognizers(window)) {
        if (r == TessivoKit::shared().fourFingersGesture())
            ++count;
    }
    return count;
}

void swipeDown(QWidget *window)
{
    static const std::unique_ptr<QPointingDevice> device(QTest::createTouchDevice());
    auto press = QTest::touchEvent(window, device.get());
    for (int i = 0; i < 4; ++i)
        press.press(i, QPoint(40 + 50 * i, 40), window);
    press.commit();
    auto move = QTest::touchEvent(window, device.get());
    for (int i = 0; i < 4; ++i)
        move.move(i, QPoint(40 + 50 * i, 200), window);
    move.commit();
    auto release = QTest::touchEvent(window, device.get());
    for (int i = 0; i < 4; ++i)
        release.release(i, QPoint(40 + 50 * i, 200), window);
    release.commit();
}

} // namespace

class StartupTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;

private Q_SLOTS:
    void fourFingersReachTheWindowThePlatformActivatesLater()
    {
        TessivoKit &kit = TessivoKit::shared();
        auto host = std::make_unique<QWidget>();
        host->resize(400, 400);
        host->show();
        // Shown but not active yet when the host configures the kit.
        QVERIFY(!Application::keyWindow());
        kit.initialize(TessivoKit::FeedbackGesture::fourFingers, "", false);

        // The platform activates the window once the event loop runs.
        QTRY_COMPARE(Application::keyWindow(), host.get());
        QCOMPARE(kitSwipes(host.get()), 1);
        swipeDown(host.get());
        QVERIFY(kit.navigationAlreadyStarted);
        QTRY_VERIFY(qobject_cast<SelectOptionViewController *>(topMostViewController()));

        // Installed once: another window that becomes key gets none.
        QWidget other;
        other.resize(400, 400);
        other.show();
        QTRY_COMPARE(Application::keyWindow(), &other);
        QCOMPARE(kitSwipes(&other), 0);
        QCOMPARE(kitSwipes(host.get()), 1);

        // When the window that carries it is gone, the key window gets it.
        host.reset();
        kit.navigationAlreadyStarted = false; // its screens went with it
        QTRY_COMPARE(kitSwipes(&other), 1);
        swipeDown(&other);
        QVERIFY(kit.navigationAlreadyStarted);
        QTRY_VERIFY(qobject_cast<SelectOptionViewController *>(topMostViewController()));
    }
};

QTEST_MAIN(StartupTest)
#include "tst_startup.moc"
