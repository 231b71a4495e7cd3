// Keyboard and pointer conventions on the kit's real screens: Escape, Tab,
// Return, Delete, focus around the kit, tooltips, the desktop's shake.
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TestingNotesViewController.h"
#include "editors/NoteEditorViewController.h"
#include "editors/VideoEditorViewController.h"
#include "photo/ColorCell.h"
#include "photo/ObjectGestures.h"
#include "photo/PhotoEditorViewController.h"
#include "photo/StickerView.h"
#include "photo/StickersCell.h"
#include "platform/AlertController.h"
#include "platform/MotionSource.h"
#include "platform/NavigationController.h"
#include "platform/OverlayKeyboard.h"
#include "platform/Storyboard.h"
#include "TestSupport.h"

#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

using namespace tessivo;

class KeyboardTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<QWidget> m_window;
    QPointer<QLineEdit> m_hostField;

    void openHost()
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(390, 760);
        auto *column = new QVBoxLayout(m_window.get());
        column->addWidget(new QLineEdit(m_window.get()));
        column->addWidget(m_hostField = new QLineEdit(m_window.get()));
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_hostField->setFocus();
        QTRY_COMPARE(QApplication::focusWidget(), m_hostField.data());
    }
    NavigationController *presentScreen(const QString &identifier)
    {
        auto *nav = qobject_cast<NavigationController *>(
            Storyboard::named("Main").instantiateViewController(identifier));
        ViewController::rootOf(m_window.get())->present(nav, false);
        return nav;
    }
    template <typename T> T *presentEditor(T *editor)
    {
        editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
        ViewController::rootOf(m_window.get())->present(editor, false);
        return editor;
    }
    void press(int key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(m_window->windowHandle(), Qt::Key(key), modifiers);
    }
    ViewController *top() const { return OverlayKeyboard::topPresented(m_window.get()); }
    bool inKit(QWidget *w) const { return w && top() && (w == top() || top()->isAncestorOf(w)); }

private Q_SLOTS:
    void initTestCase() { QCoreApplication::setApplicationVersion("3.1"); }
    void init()
    {
        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::fourFingers;
        openHost();
    }
    void cleanup() { m_window.reset(); }

    void escapeClosesTheTopMostThingAndFocusGoesBack()
    {
        // The first-run screen: focus moves in, Escape closes it, focus comes back.
        NavigationController *notes = presentScreen("testingNotesNavController");
        QTRY_VERIFY(top() == notes && notes->topViewController()->hasAppeared());
        QVERIFY(inKit(QApplication::focusWidget()));
        press(Qt::Key_Escape);
        QTRY_VERIFY(!top());
        QTRY_COMPARE(QApplication::focusWidget(), m_hostField.data());

        // The capture choice: its close clears navigationAlreadyStarted.
        TessivoKit::shared().navigationAlreadyStarted = true;
        NavigationController *choice = presentScreen("initialNavController");
        QTRY_VERIFY(choice->topViewController()->hasAppeared());
        press(Qt::Key_Escape);
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);
        QTRY_VERIFY(!top() || top() != choice);

        // An editor: Escape is its close (the quit sheet), then the sheet's Cancel.
        QTRY_VERIFY(!top());
        auto *editor = presentEditor(new PhotoEditorViewController);
        QTRY_VERIFY(editor->hasAppeared());
        QTest::mouseClick(editor->controlsView()->markupButton(), Qt::LeftButton);
        QTRY_VERIFY(editor->isDrawing);
        press(Qt::Key_Escape); // the tool's bar goes back
        QTRY_VERIFY(!editor->isDrawing && editor->controlsView()->isVisible());
        press(Qt::Key_Escape);
        QTRY_VERIFY(qobject_cast<AlertController *>(top()));
        QVERIFY(inKit(QApplication::focusWidget()));
        press(Qt::Key_Escape);
        QTRY_COMPARE(top(), editor);
        QTRY_VERIFY(inKit(QApplication::focusWidget()));
    }

    void tabCyclesEveryControlInsideTheKitAndReturnPresses()
    {
        presentScreen("initialNavController");
        auto *choice = qobject_cast<SelectOptionViewController *>(
            qobject_cast<NavigationController *>(top())->topViewController());
        QTRY_VERIFY(choice->hasAppeared());
        auto *close = choice->findChild<QPushButton *>("closeButton");
        const QList<QWidget *> controls{close, choice->imageView(), choice->videoView(), choice->screenshotView()};
        QSet<QWidget *> reached;
        for (int i = 0; i < 12; ++i) {
            press(Qt::Key_Tab);
            QWidget *focus = QApplication::focusWidget();
            QVERIFY2(inKit(focus), "Tab left the kit");
            QVERIFY(focus != m_hostField);
            reached.insert(focus);
            QWidget *ring = OverlayKeyboard::shared().focusRing();
            QVERIFY(ring && ring->geometry().contains(QRect(focus->mapTo(ring->parentWidget(), QPoint()), focus->size())));
        }
        for (QWidget *control : controls)
            QVERIFY2(reached.contains(control), qPrintable(control->objectName()));
        QCOMPARE(reached.size(), OverlayKeyboard::tabChain(top()).size());
        // Back and forth end where they started.
        press(Qt::Key_Tab);
        QWidget *next = QApplication::focusWidget();
        press(Qt::Key_Backtab);
        press(Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), next);

        // A screen the choice itself presents is the top: focus goes and stays there.
        auto *note = new NoteEditorViewController;
        choice->present(note, false);
        QTRY_VERIFY(note->hasAppeared() && note->noteView()->isVisible());
        QCOMPARE(top(), note);
        QTRY_VERIFY(note->isAncestorOf(QApplication::focusWidget()));
        press(Qt::Key_Tab);
        QVERIFY(note->isAncestorOf(QApplication::focusWidget()));
        note->dismiss(false);
        QTRY_VERIFY(qobject_cast<NavigationController *>(top()));

        // Space on a tile opens what a tap opens; Return presses a button.
        choice->screenshotView()->setFocus(Qt::TabFocusReason);
        press(Qt::Key_Space);
        QTRY_VERIFY(!m_window->findChildren<PhotoEditorViewController *>().isEmpty());
        PhotoEditorViewController *editor = m_window->findChildren<PhotoEditorViewController *>().first();
        QTRY_VERIFY(editor->hasAppeared());
        editor->controlsView()->markupButton()->setFocus(Qt::TabFocusReason);
        press(Qt::Key_Return);
        QTRY_VERIFY(editor->isDrawing);
        // Every button and swatch of the markup bar is a Tab stop.
        const QList<QWidget *> chain = OverlayKeyboard::tabChain(top());
        for (QWidget *w : editor->markupControlsView()->findChildren<QWidget *>()) {
            if (w->isVisible() && (qobject_cast<QAbstractButton *>(w) || qobject_cast<ColorCell *>(w)))
                QVERIFY2(chain.contains(w), qPrintable(w->objectName()));
        }
    }

    void deleteRemovesTheSelectedObject()
    {
        auto *editor = presentEditor(new PhotoEditorViewController);
        QTRY_VERIFY(editor->hasAppeared());
        QTest::mouseClick(editor->controlsView()->stickersButton(), Qt::LeftButton);
        QTRY_VERIFY(editor->stickersControlsView()->isVisible());
        StickersControlsView *picker = editor->stickersControlsView();
        QTest::mouseClick(picker->cellAt(0), Qt::LeftButton, {}, picker->cellAt(0)->rect().center());
        QTest::mouseClick(picker->cellAt(0), Qt::LeftButton, {}, picker->cellAt(0)->rect().center());
        QPointer<CanvasObjectItem> b = editor->objectGestures()->selectedObject();
        auto *sticker = qobject_cast<StickerView *>(b.data());
        QVERIFY(sticker && sticker->sticker()->smartLetter == QString("B"));
        // The hint names the gestures while the tool is open.
        auto *hint = editor->findChild<QLabel *>("tessivo.editingHint");
        QVERIFY(hint && hint->isVisible() && hint->text().contains("Shift+wheel"));
        editor->canvasScrollView()->setFocus();
        press(Qt::Key_Delete);
        QTRY_VERIFY(!b);
        QCOMPARE(picker->characters().left(2), QString("Bc"));
        QCOMPARE(picker->cellAt(0)->stickerView()->label()->text(), QString("B"));
        press(Qt::Key_Backspace); // nothing selected now: nothing else goes
        QCOMPARE(editor->canvasImageView()->childItems().size(), 1);
    }

    void iconOnlyControlsHaveTooltips()
    {
        std::vector<std::unique_ptr<QWidget>> screens;
        screens.emplace_back(new TestingNotesViewController);
        screens.emplace_back(new SelectOptionViewController);
        screens.emplace_back(new PhotoEditorViewController);
        screens.emplace_back(new VideoEditorViewController);
        screens.emplace_back(new NoteEditorViewController);
        for (const auto &screen : screens) {
            for (QAbstractButton *button : screen->findChildren<QAbstractButton *>()) {
                if (button->text().trimmed().isEmpty())
                    QVERIFY2(!button->toolTip().isEmpty(), qPrintable(button->objectName()));
            }
            for (CollectionViewCell *cell : screen->findChildren<CollectionViewCell *>()) {
                if (qobject_cast<ColorCell *>(cell) || qobject_cast<StickersCell *>(cell))
                    QVERIFY2(!cell->toolTip().isEmpty(), cell->metaObject()->className());
            }
        }
    }

    void theFirstRunScreenNamesTheDesktopShake()
    {
        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::shake;
        MotionSource::shared().setShakeShortcut(QKeySequence("Ctrl+Shift+K"));
        TestingNotesViewController shake;
        shake.loadViewIfNeeded();
        QCOMPARE(shake.gestureInfoLabel->text(), QString("SHAKE TO ACTIVATE THE FEEDBACK TOOLS"));
        QVERIFY(!shake.desktopShakeLabel->isHidden());
        QVERIFY(shake.desktopShakeLabel->text().contains(QKeySequence("Ctrl+Shift+K").toString(QKeySequence::NativeText)));
        QVERIFY(shake.desktopShakeLabel->text().contains("shake the pointer"));
        MotionSource::shared().setShakeShortcut(QKeySequence("Ctrl+Alt+F"));
        // The four-finger swipe does not answer the shortcut: no such line.
        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::fourFingers;
        TestingNotesViewController swipe;
        swipe.loadViewIfNeeded();
        QVERIFY(swipe.desktopShakeLabel->isHidden());
    }

    void pointerShakeLegsRunFromTheTurningPoint()
    {
        // Legs of exactly 42 px between turns, in 14 px steps: only the
        // distance from turn to turn reaches the 40 px a leg needs.
        QSignalSpy shakes(&MotionSource::shared(), &MotionSource::motionEnded);
        QWindow *handle = m_window->windowHandle();
        auto moveTo = [&](int x) {
            const QPointF local(x - m_window->mapToGlobal(QPoint()).x(), 300);
            QMouseEvent move(QEvent::MouseMove, local, QPointF(x, 300), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(handle, &move);
        };
        moveTo(100);
        for (int x : {114, 128, 142, 128, 114, 100, 114, 128, 142, 128, 114, 100, 114})
            moveTo(x);
        QCOMPARE(shakes.size(), 1);
        QCOMPARE(shakes.first().first().value<QWidget *>(), m_window.get());
    }
};

QTEST_MAIN(KeyboardTest)
#include "tst_keyboard.moc"
