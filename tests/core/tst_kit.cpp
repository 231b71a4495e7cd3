// The kit facade: configuration, the four-finger recogniser and the shake.
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "core/WindowMotion.h"
#include "platform/Storyboard.h"
#include "platform/ViewController.h"
#include "platform/SwipeGestureRecognizer.h"
#include "TestSupport.h"

#include <QApplication>
#include <QPointingDevice>
#include <QTest>

#include <memory>

using namespace tessivo;
using Gesture = TessivoKit::FeedbackGesture;

namespace {

// The kit is a process-wide object: each test starts from its initial state.
void resetKit()
{
    TessivoKit &kit = TessivoKit::shared();
    kit.isRecording = false;
    kit.navigationAlreadyStarted = false;
    kit.feedbackGesture = Gesture::shake;
    kit.optionalConfigs.reset();
    kit.shareMethod = ShareMethod::shareSheet;
    kit.testingNotes.clear();
    kit.useRecordingForScreenshot = false;
}

QList<SwipeGestureRecognizer *> kitSwipes(QWidget *window)
{
    QList<SwipeGestureRecognizer *> result;
    for (GestureRecognizer *r : GestureRecognizer::recognizers(window)) {
        if (auto *swipe = qobject_cast<SwipeGestureRecognizer *>(r);
            swipe && swipe->numberOfTouchesRequired() == 4)
            result << swipe;
    }
    return result;
}

struct ForeignConfigs : Configs {
    ShareMethod shareMethod() const override { return ShareMethod::trello; }
};

} // namespace

class KitTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    int m_presentedInitial = 0;

private Q_SLOTS:
    void initTestCase()
    {
        // The capture choice screen stands in as a plain controller here.
        Storyboard::named("Main").registerController("initialNavController", [this] {
            ++m_presentedInitial;
            auto *c = new ViewController;
            c->setObjectName("initialNavController");
            return c;
        });
    }

    void init()
    {
        resetKit();
        m_presentedInitial = 0;
    }

    void freshKitHasTheDocumentedStartingState()
    {
        TessivoKit &kit = TessivoKit::shared();
        QVERIFY(kit.captureManager());
        QVERIFY(kit.fourFingersGesture());
        QVERIFY(!kit.fourFingersGesture()->view()); // made, not installed
        QVERIFY(kit.isFirstInit);
        QCOMPARE(kit.initialIndicatorPosition, QPointF(0, 0));
        QVERIFY(!kit.productId());
    }

    void optionsDecideTheShareMethodOnlyWhenGiven()
    {
        TessivoKit &kit = TessivoKit::shared();
        kit.initialize(Gesture::shake, "notes", true);
        QCOMPARE(kit.shareMethod, ShareMethod::shareSheet);
        QVERIFY(!kit.optionalConfigs);
        QCOMPARE(kit.testingNotes, QString("notes"));
        QVERIFY(kit.useRecordingForScreenshot);

        // Trello options start at monday unless the host reassigns them.
        kit.initialize(Gesture::shake, "", false, TrelloConfigs("list", "key", "token"));
        QCOMPARE(kit.shareMethod, ShareMethod::monday);
        auto trello = std::dynamic_pointer_cast<const TrelloConfigs>(kit.optionalConfigs);
        QVERIFY(trello);
        QCOMPARE(trello->idList, QString("list"));
        TrelloConfigs chosen("list", "key", "token");
        chosen.setShareMethod(ShareMethod::trello);
        kit.initialize(Gesture::shake, "", false, chosen);
        QCOMPARE(kit.shareMethod, ShareMethod::trello);

        // A later call without options keeps them.
        kit.initialize(Gesture::fourFingers, "again", false);
        QCOMPARE(kit.shareMethod, ShareMethod::trello);
        QVERIFY(kit.optionalConfigs);
        QVERIFY(!kit.useRecordingForScreenshot);

        kit.initialize(Gesture::shake, "", false, std::make_shared<ForeignConfigs>());
        QCOMPARE(kit.shareMethod, ShareMethod::trello);
    }

    void rawValuesAreExactAndCaseSensitive()
    {
        QCOMPARE(rawValue(ShareMethod::shareSheet), QString("shareSheet"));
        QCOMPARE(shareMethodFromRawValue("monday"), std::optional(ShareMethod::monday));
        QCOMPARE(shareMethodFromRawValue("trello"), std::optional(ShareMethod::trello));
        QVERIFY(!shareMethodFromRawValue("Trello"));
        QVERIFY(!shareMethodFromRawValue("share sheet"));
        QVERIFY(!shareMethodFromRawValue(""));
    }

    void fourFingersIsInstalledOnceAndOnlyOnAKeyWindow()
    {
        TessivoKit &kit = TessivoKit::shared();
        QWidget window;
        window.resize(300, 300);

        // No key window yet: nothing installed.
        QVERIFY(!QApplication::activeWindow());
        kit.initialize(Gesture::fourFingers, "", false);
        QVERIFY(!kit.fourFingersGesture()->view());

        window.show();
        QApplication::setActiveWindow(&window);
        kit.initialize(Gesture::fourFingers, "", false);
        kit.initialize(Gesture::fourFingers, "", false);
        QCOMPARE(kitSwipes(&window).size(), 1);
        SwipeGestureRecognizer *swipe = kitSwipes(&window).first();
        QCOMPARE(kit.fourFingersGesture(), swipe);
        QCOMPARE(swipe->direction(), 8u);
        QCOMPARE(swipe->delegate(), static_cast<GestureRecognizerDelegate *>(&kit));
        QVERIFY(kit.shouldRecognizeSimultaneously(swipe, nullptr));

        // Switching to shake keeps the recogniser, which still opens sessions.
        kit.initialize(Gesture::shake, "", false);
        QCOMPARE(kitSwipes(&window).size(), 1);
        const std::unique_ptr<QPointingDevice> device(QTest::createTouchDevice());
        QPointingDevice *touchscreen = device.get();
        auto press = QTest::touchEvent(&window, touchscreen);
        for (int i = 0; i < 4; ++i)
            press.press(i, QPoint(40 + 50 * i, 40), &window);
        press.commit();
        auto move = QTest::touchEvent(&window, touchscreen);
        for (int i = 0; i < 4; ++i)
            move.move(i, QPoint(40 + 50 * i, 160), &window);
        move.commit();
        auto release = QTest::touchEvent(&window, touchscreen);
        for (int i = 0; i < 4; ++i)
            release.release(i, QPoint(40 + 50 * i, 160), &window);
        release.commit();
        QVERIFY(kit.navigationAlreadyStarted);
        QCOMPARE(m_presentedInitial, 1);
    }

    void shakeFollowsTheChosenGesture()
    {
        TessivoKit &kit = TessivoKit::shared();
        QWidget window;
        window.resize(300, 300);
        window.show();
        QApplication::setActiveWindow(&window);

        kit.feedbackGesture = Gesture::fourFingers;
        MotionSource::shared().deliver(&window, EventSubtype::motionShake);
        QVERIFY(!kit.navigationAlreadyStarted);
        QCOMPARE(m_presentedInitial, 0);

        kit.feedbackGesture = Gesture::shake;
        MotionSource::shared().deliver(&window, EventSubtype::none);
        QVERIFY(!kit.navigationAlreadyStarted);

        // The keyboard shortcut is a shake of the focused window.
        QTest::keyClick(&window, Qt::Key_F, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(kit.navigationAlreadyStarted);
        QTRY_COMPARE(topMostViewController()->objectName(), QString("initialNavController"));

        // While the kit's screens are up a trigger presents nothing more.
        kit.startFeedback();
        QCOMPARE(m_presentedInitial, 1);
    }

    void aPointerShakeIsAShake()
    {
        TessivoKit &kit = TessivoKit::shared();
        QWidget window;
        window.resize(400, 300);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QApplication::setActiveWindow(&window);
        // Slow drifting is not a shake; quick back-and-forth is.
        for (int x = 100; x < 160; x += 10)
            QTest::mouseMove(window.windowHandle(), QPoint(x, 150));
        QVERIFY(!kit.navigationAlreadyStarted);
        for (int leg = 0; leg < 6; ++leg) {
            const int from = leg % 2 ? 300 : 100;
            const int to = leg % 2 ? 100 : 300;
            for (int step = 1; step <= 4; ++step)
                QTest::mouseMove(window.windowHandle(), QPoint(from + (to - from) * step / 4, 150));
        }
        QVERIFY(kit.navigationAlreadyStarted);
    }

    void openingWithNoKeyWindowStillMarksTheSession()
    {
        TessivoKit &kit = TessivoKit::shared();
        QApplication::setActiveWindow(nullptr);
        QVERIFY(!topMostViewController());
        kit.startFeedback();
        QVERIFY(kit.navigationAlreadyStarted);
        QCOMPARE(m_presentedInitial, 0);
    }
};

QTEST_MAIN(KitTest)
#include "tst_kit.moc"
