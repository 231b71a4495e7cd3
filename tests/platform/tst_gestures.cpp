// Swipe recognition from real touch and mouse events, and the delegate's
// say in simultaneous recognition.
#include "platform/SwipeGestureRecognizer.h"

#include <QApplication>
#include <QPointingDevice>
#include <QTest>

#include <memory>

using namespace tessivo;

namespace {

struct Together : QObject, GestureRecognizerDelegate {
    bool allow = true;
    bool shouldRecognizeSimultaneously(GestureRecognizer *, GestureRecognizer *) override
    {
        return allow;
    }
};

} // namespace

class GesturesTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<QPointingDevice> m_touchscreen;
    std::unique_ptr<QWidget> m_window;
    QWidget *m_child = nullptr;

    // `fingers` touches go down side by side, move `dy` in steps, lift.
    void swipe(int fingers, QPoint delta, QWidget *target)
    {
        QList<QPoint> points;
        for (int i = 0; i < fingers; ++i)
            points << QPoint(60 + 40 * i, 100);
        auto press = QTest::touchEvent(target, m_touchscreen.get());
        for (int i = 0; i < fingers; ++i)
            press.press(i, points[i], target);
        press.commit();
        for (int step = 1; step <= 4; ++step) {
            auto move = QTest::touchEvent(target, m_touchscreen.get());
            for (int i = 0; i < fingers; ++i)
                move.move(i, points[i] + delta * step / 4, target);
            move.commit();
        }
        auto release = QTest::touchEvent(target, m_touchscreen.get());
        for (int i = 0; i < fingers; ++i)
            release.release(i, points[i] + delta, target);
        release.commit();
    }

private Q_SLOTS:
    void initTestCase() { m_touchscreen.reset(QTest::createTouchDevice()); }

    void init()
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(400, 400);
        m_child = new QWidget(m_window.get());
        m_child->setGeometry(0, 0, 400, 400);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }

    void fourFingersDownIsRecognisedOnceAndThreeAreNot()
    {
        auto *swipe = new SwipeGestureRecognizer;
        swipe->setNumberOfTouchesRequired(4);
        swipe->setDirection(SwipeGestureRecognizer::down);
        int fired = 0;
        swipe->addTarget(this, [&](GestureRecognizer *g) {
            QCOMPARE(g->state(), GestureRecognizerState::ended);
            ++fired;
        });
        swipe->addTo(m_window.get());
        QCOMPARE(GestureRecognizer::recognizers(m_window.get()), QList<GestureRecognizer *>{swipe});

        // The touches land on a child: the window's recogniser still sees them.
        swipe_(this, 4, QPoint(0, 120));
        QCOMPARE(fired, 1);
        swipe_(this, 3, QPoint(0, 120));
        QCOMPARE(fired, 1);
        swipe_(this, 5, QPoint(0, 120));
        QCOMPARE(fired, 1);
        swipe_(this, 4, QPoint(0, -120)); // up
        QCOMPARE(fired, 1);
        swipe_(this, 4, QPoint(120, 120)); // diagonal drifts too far
        QCOMPARE(fired, 1);
        swipe_(this, 4, QPoint(0, 120));
        QCOMPARE(fired, 2);

        swipe->setEnabled(false);
        swipe_(this, 4, QPoint(0, 120));
        QCOMPARE(fired, 2);
    }

    void aOneFingerSwipeAlsoAnswersTheMouse()
    {
        auto *swipe = new SwipeGestureRecognizer;
        swipe->setDirection(SwipeGestureRecognizer::left | SwipeGestureRecognizer::right);
        int fired = 0;
        swipe->addTarget(nullptr, [&](GestureRecognizer *) { ++fired; });
        swipe->addTo(m_child);
        QTest::mousePress(m_child, Qt::LeftButton, {}, QPoint(200, 200));
        QTest::mouseMove(m_child, QPoint(170, 202));
        QTest::mouseMove(m_child, QPoint(120, 205));
        QTest::mouseRelease(m_child, Qt::LeftButton, {}, QPoint(120, 205));
        QCOMPARE(fired, 1);
        // A short drag is not a swipe.
        QTest::mousePress(m_child, Qt::LeftButton, {}, QPoint(200, 200));
        QTest::mouseMove(m_child, QPoint(230, 200));
        QTest::mouseRelease(m_child, Qt::LeftButton, {}, QPoint(230, 200));
        QCOMPARE(fired, 1);
    }

    void rivalsAreCancelledUnlessADelegateAllowsBoth()
    {
        // A long-running rival (began) is cancelled by a recognition unless
        // one of the two delegates lets them run together.
        struct Holder : GestureRecognizer {
            using GestureRecognizer::GestureRecognizer;
            void begin() { setState(GestureRecognizerState::began); }
        };
        auto *rival = new Holder;
        rival->addTo(m_window.get());
        auto *swipe = new SwipeGestureRecognizer;
        swipe->setNumberOfTouchesRequired(4);
        swipe->setDirection(SwipeGestureRecognizer::down);
        swipe->addTo(m_window.get());
        Together together;
        swipe->setDelegate(&together);

        rival->begin();
        swipe_(this, 4, QPoint(0, 120));
        QCOMPARE(rival->state(), GestureRecognizerState::began);

        together.allow = false;
        swipe_(this, 4, QPoint(0, 120));
        QCOMPARE(rival->state(), GestureRecognizerState::cancelled);
    }

private:
    static void swipe_(GesturesTest *t, int fingers, QPoint delta) { t->swipe(fingers, delta, t->m_child); }
};

QTEST_MAIN(GesturesTest)
#include "tst_gestures.moc"
