// The testing notes and capture choice screens.
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TestingNotesViewController.h"
#include "core/TopMost.h"
#include "platform/Layer.h"
#include "platform/NavigationController.h"
#include "platform/Storyboard.h"
#include "platform/UserDefaults.h"
#include "TestSupport.h"

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QTextEdit>

using namespace tessivo;

namespace {

struct Host {
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    Host()
    {
        window->resize(390, 760);
        window->setStyleSheet("background: rgb(0, 200, 0);"); // a colour no kit screen uses
        window->show();
        QApplication::setActiveWindow(window.get());
    }
    template <typename T>
    T *present(const QString &identifier)
    {
        auto *nav = qobject_cast<NavigationController *>(
            Storyboard::named("Main").instantiateViewController(identifier));
        ViewController::rootOf(window.get())->present(nav, false);
        return qobject_cast<T *>(nav->topViewController());
    }
};

} // namespace

class FirstScreensTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;

private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setApplicationVersion("2.3");
        qApp->setProperty("CFBundleVersion", "41");
    }

    void init()
    {
        TessivoKit::shared().navigationAlreadyStarted = false;
        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::shake;
    }

    void emptyNotesCollapseTheHeading()
    {
        TessivoKit::shared().testingNotes.clear();
        Host host;
        auto *screen = host.present<TestingNotesViewController>("testingNotesNavController");
        QTRY_VERIFY(screen->hasAppeared());
        QVERIFY(screen->testingNotesLabel->isHidden());
        QCOMPARE(screen->notesTextViewBottomConstraint.constant(), 0.0);
        QCOMPARE(screen->testingNotesLabelHeightConstraint.constant(), 0.0);
        QCOMPARE(screen->testingNotesLabelTopConstraint.constant(), 0.0);
        QCOMPARE(screen->gestureInfoLabel->text(), QString("SHAKE TO ACTIVATE THE FEEDBACK TOOLS"));
        QVERIFY(screen->appVersionLabel->text().startsWith("App version: "));
        QVERIFY(screen->appVersionLabel->text().contains("2.3(41)"));
    }

    void notesScrollOnlyWhenTallerThanAFifthOfTheScreen()
    {
        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::fourFingers;
        TessivoKit::shared().testingNotes = "Short notes.";
        {
            Host host;
            auto *screen = host.present<TestingNotesViewController>("testingNotesNavController");
            QTRY_VERIFY(screen->hasAppeared());
            QVERIFY(!screen->testingNotesLabel->isHidden());
            QCOMPARE(screen->notesTextViewBottomConstraint.constant(), 20.0);
            QCOMPARE(screen->testingNotesLabelHeightConstraint.constant(), 16.0);
            QCOMPARE(screen->testingNotesLabelTopConstraint.constant(), 15.0);
            QVERIFY(!screen->isNotesScrollEnabled());
            QCOMPARE(screen->gestureInfoLabel->text(), QString("4 FINGER SWIPE FOR QUICK FEEDBACK"));
            QVERIFY(!screen->gestureImageView->pixmap().isNull());
        }
        QStringList lines;
        for (int i = 0; i < 40; ++i)
            lines << QString("Step %1: try the thing and tell us what happens.").arg(i);
        TessivoKit::shared().testingNotes = lines.join('\n');
        Host host;
        auto *screen = host.present<TestingNotesViewController>("testingNotesNavController");
        QTRY_VERIFY(screen->hasAppeared());
        QVERIFY(screen->isNotesScrollEnabled());
        QCOMPARE(screen->notesTextView->toPlainText(), TessivoKit::shared().testingNotes);
    }

    void theCaptionFollowsConsent()
    {
        UserDefaults::standard().setBool(false, "userAllowedRecordingKey");
        {
            SelectOptionViewController screen;
            QCOMPARE(screen.videoDescriptionLabel()->text(), QString("tap to enable"));
        }
        UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
        SelectOptionViewController screen;
        QCOMPARE(screen.videoDescriptionLabel()->text(), QString("last 10 seconds"));
    }

    void theScreenshotIsTheHostWithoutTheKit()
    {
        Host host;
        auto *screen = host.present<SelectOptionViewController>("initialNavController");
        QVERIFY(screen->screenshot());
        const QImage shot = *screen->screenshot();
        QCOMPARE(shot.size(), host.window->size() * host.window->devicePixelRatio());
        // Taken before the screen was on the window: the host's green only.
        QCOMPARE(shot.pixelColor(shot.width() / 2, shot.height() / 2), QColor(0, 200, 0));
        QTRY_VERIFY(screen->hasAppeared());

        QApplication::setActiveWindow(nullptr);
        SelectOptionViewController noKeyWindow;
        noKeyWindow.loadViewIfNeeded();
        QVERIFY(!noKeyWindow.screenshot());
    }

    void tilesFollowTheAppearance()
    {
        SelectOptionViewController screen;
        for (QWidget *tile : {screen.imageView(), screen.videoView(), screen.screenshotView()}) {
            Layer *layer = Layer::existing(tile);
            QVERIFY(layer);
            QCOMPARE(layer->cornerRadius(), 40.0);
            QCOMPARE(layer->maskedCorners(), 3u);
            QCOMPARE(layer->borderWidth(), 0.0);
            QCOMPARE(layer->shadowRadius(), 18.0);
            QCOMPARE(layer->shadowOpacity(), 0.18);
        }
        screen.setPalette(paletteFor(Appearance::dark));
        for (QWidget *tile : {screen.imageView(), screen.videoView(), screen.screenshotView()}) {
            QCOMPARE(Layer::existing(tile)->borderWidth(), 1.0);
            QCOMPARE(Layer::existing(tile)->shadowColor().alpha(), 140);
        }
    }

    void closeClearsTheSessionAndTheScreen()
    {
        Host host;
        TessivoKit::shared().navigationAlreadyStarted = true;
        auto *screen = host.present<SelectOptionViewController>("initialNavController");
        QTRY_VERIFY(screen->hasAppeared());
        QPointer<ViewController> nav = screen->navigationController();
        QCOMPARE(screen->presentingViewController(), ViewController::rootOf(host.window.get()));
        screen->closeMainScreen();
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);
        QTRY_VERIFY(!nav);
        QCOMPARE(topMostViewController(), ViewController::rootOf(host.window.get()));
    }

    void aTriggerWhileTheChoiceClosesOpensOneChoiceOverTheHost()
    {
        Host host;
        ViewController *root = ViewController::rootOf(host.window.get());
        const auto shownChoices = [&] {
            QList<SelectOptionViewController *> shown;
            for (auto *screen : host.window->findChildren<SelectOptionViewController *>()) {
                if (screen->isVisible())
                    shown << screen;
            }
            return shown;
        };
        TessivoKit::shared().startFeedback();
        QTRY_COMPARE(shownChoices().size(), 1);
        SelectOptionViewController *closing = shownChoices().first();
        QTRY_VERIFY(closing->hasAppeared());
        QPointer<ViewController> closingNav = closing->navigationController();

        closing->closeMainScreen();
        QVERIFY(closingNav->isBeingDismissed());
        TessivoKit::shared().startFeedback(); // while it slides away
        TessivoKit::shared().startFeedback(); // the session has started: ignored
        QTRY_VERIFY(!closingNav);

        QTRY_COMPARE(shownChoices().size(), 1);
        SelectOptionViewController *choice = shownChoices().first();
        QTRY_VERIFY(choice->hasAppeared());
        QCOMPARE(choice->presentingViewController(), root);
        QCOMPARE(topMostViewController(), choice);
        QVERIFY(TessivoKit::shared().navigationAlreadyStarted);
        // Its screenshot is the host, not the screen that was going away.
        const QImage shot = *choice->screenshot();
        QCOMPARE(shot.pixelColor(shot.width() / 2, shot.height() / 2), QColor(0, 200, 0));

        // It works like any other: closing it leaves the host alone.
        QPointer<ViewController> nav = choice->navigationController();
        choice->closeMainScreen();
        QTRY_VERIFY(!nav);
        QVERIFY(shownChoices().isEmpty());
        QCOMPARE(topMostViewController(), root);
    }

    void aTriggerOverTheTestingNotesReplacesThem()
    {
        Host host;
        auto *notes = host.present<TestingNotesViewController>("testingNotesNavController");
        QTRY_VERIFY(notes->hasAppeared());
        QPointer<ViewController> notesNav = notes->navigationController();
        TessivoKit::shared().startFeedback();
        QVERIFY(TessivoKit::shared().navigationAlreadyStarted);
        QTRY_VERIFY(qobject_cast<SelectOptionViewController *>(topMostViewController()));
        QVERIFY(!notesNav);
    }
};

QTEST_MAIN(FirstScreensTest)
#include "tst_first_screens.moc"
