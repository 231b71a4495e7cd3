// The canvas objects driven through the editor's window with pointer,
// wheel and touch input: smart letters, placing stickers, annotations
// and their editing, the delete zone, pinch limits, rotation, the return
// of an object dropped off the screenshot, and the bounce on tap.
#include "photo/ObjectGestures.h"
#include "photo/PhotoEditorViewController.h"
#include "photo/StickerView.h"
#include "photo/StickersCell.h"
#include "photo/ColorCell.h"
#include "platform/Bundle.h"
#include "platform/Haptics.h"
#include "platform/Keyboard.h"
#include "platform/TapGestureRecognizer.h"
#include "platform/Toolbar.h"
#include "ObjectTesting.h"
#include "PhotoTesting.h"
#include "TestSupport.h"

#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>
#include <QTextCursor>
#include <QTextDocument>

#include <cmath>

using namespace tessivo;
using test::windowPoint;

class PhotoObjectsTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<QWidget> m_window;
    QPointer<PhotoEditorViewController> m_editor;

    /// A screenshot no taller than the canvas shows at its own size.
    void open(int screenshotHeight = 640)
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(390, 760);
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        QImage screenshot(390, screenshotHeight, QImage::Format_ARGB32_Premultiplied);
        screenshot.fill(Qt::white);
        m_editor = new PhotoEditorViewController;
        m_editor->setImage(screenshot);
        m_editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
        ViewController::rootOf(m_window.get())->present(m_editor, false);
        QTRY_VERIFY(m_editor->hasAppeared());
        QTRY_VERIFY(!m_editor->canvasScrollView()->isScrollAnimating());
    }

    void openStickers()
    {
        test::click(m_editor->controlsView()->stickersButton());
        QTRY_VERIFY(!m_editor->canvasScrollView()->isScrollAnimating());
        QCOMPARE(m_editor->canvasScrollView()->contentOffsetY(), 0.0);
    }

    StickersControlsView *picker() const { return m_editor->stickersControlsView(); }

    /// Clicks a picker cell and returns the sticker it placed.
    StickerView *pick(int item)
    {
        StickersCell *cell = picker()->cellAt(item);
        [&] { test::click(cell); }();
        return topSticker();
    }

    StickerView *topSticker() const
    {
        StickerView *top = nullptr;
        for (QGraphicsItem *child : m_editor->canvasImageView()->childItems()) {
            auto *sticker = qobject_cast<StickerView *>(child->toGraphicsObject());
            if (sticker && (!top || sticker->zValue() >= top->zValue()))
                top = sticker;
        }
        return top;
    }

    QString letterOf(StickerView *sticker) const
    {
        return sticker && sticker->sticker() ? sticker->sticker()->smartLetter.value_or(QString()) : QString();
    }

    QPoint at(CanvasObjectItem *item) const { return windowPoint(m_editor, item->center()); }

    /// Presses at `from` and moves far enough for the drag to begin and the
    /// delete zone to show; returns the zone's centre.
    QPoint startDrag(QPoint from)
    {
        QWindow *handle = m_window->windowHandle();
        QTest::mousePress(handle, Qt::LeftButton, {}, from);
        QTest::mouseMove(handle, from + QPoint(0, 15));
        QTest::mouseMove(handle, from + QPoint(0, 20));
        [&] { QTRY_VERIFY(m_editor->deleteView()->isVisible()); }();
        QApplication::processEvents();
        QWidget *zone = m_editor->deleteView();
        return zone->mapTo(m_window.get(), zone->rect().center());
    }

    void moveTo(QPoint from, QPoint to, int steps = 8)
    {
        for (int i = 1; i <= steps; ++i)
            QTest::mouseMove(m_window->windowHandle(), from + (to - from) * i / steps);
    }

    /// Drags an object into the delete zone and drops it there.
    void dropOnDeleteZone(CanvasObjectItem *item)
    {
        const QPoint start = at(item);
        const QPoint zone = startDrag(start);
        moveTo(start + QPoint(0, 20), zone);
        QTest::mouseRelease(m_window->windowHandle(), Qt::LeftButton, {}, zone);
    }

    static qreal scaleOf(const QGraphicsItem *item)
    {
        const QTransform t = item->transform();
        return std::sqrt(t.m11() * t.m11() + t.m12() * t.m12());
    }

    AnnotateTextView *activeText() const { return qobject_cast<AnnotateTextView *>(m_editor->activeTextView.data()); }

    void clickDone()
    {
        QPushButton *done = nullptr;
        for (QPushButton *button : m_editor->toolbar()->findChildren<QPushButton *>()) {
            if (button->text() == "Done")
                done = button;
        }
        test::click(done);
    }

private Q_SLOTS:
    void initTestCase() { QCoreApplication::setApplicationVersion("3.1"); }
    void cleanup() { m_window.reset(); }

    void smartLettersAreHandedOutAndBack()
    {
        open();
        openStickers();
        QCOMPARE(picker()->stickers.size(), 16);
        QCOMPARE(picker()->cellAt(0)->stickerView()->label()->text(), QString("A"));
        QCOMPARE(letterOf(pick(0)), QString("A"));
        StickerView *b = pick(0);
        QCOMPARE(letterOf(b), QString("B"));
        StickerView *c = pick(0);
        QCOMPARE(letterOf(c), QString("C"));
        // C aside, so that B is on top at the centre, then B deleted.
        const QPoint from = at(c);
        startDrag(from);
        moveTo(from + QPoint(0, 20), from + QPoint(110, 150));
        QTest::mouseRelease(m_window->windowHandle(), Qt::LeftButton, {}, from + QPoint(110, 150));
        QPointer<StickerView> deleted(b);
        dropOnDeleteZone(b);
        QTRY_VERIFY(!deleted);
        QCOMPARE(picker()->characters(), QString("Bdefghijklmnopqrstuvwxyz"));
        QCOMPARE(picker()->cellAt(0)->stickerView()->label()->text(), QString("B"));
        QCOMPARE(letterOf(pick(0)), QString("B"));
        QCOMPARE(letterOf(pick(0)), QString("D"));
    }

    void theSmartLetterLeavesWhenAllAreTakenAndComesBack()
    {
        open();
        openStickers();
        StickerView *last = nullptr;
        for (int i = 0; i < 26; ++i)
            last = pick(0);
        QCOMPARE(letterOf(last), QString("Z"));
        QCOMPARE(picker()->stickers.size(), 15);
        QCOMPARE(picker()->stickersCollectionView()->numberOfItems(), 15);
        QCOMPARE(picker()->stickers.first().imageName, QString("approved"));
        QCOMPARE(picker()->cellAt(0)->stickerLabel()->text(), QString("Approved"));
        // The approved sticker now comes from the first cell.
        QCOMPARE(pick(0)->sticker()->imageName, QString("approved"));
        QPointer<StickerView> z(last);
        // The approved sticker is on top of Z: moved off the centre first.
        const QPoint from = at(topSticker());
        startDrag(from);
        moveTo(from + QPoint(0, 20), from + QPoint(-100, 160));
        QTest::mouseRelease(m_window->windowHandle(), Qt::LeftButton, {}, from + QPoint(-100, 160));
        const QPoint middle = m_editor->canvasScrollView()->viewport()->mapFrom(m_window.get(), at(z));
        QCOMPARE(m_editor->canvasScrollView()->items(middle).first()->parentItem(), z.data());
        dropOnDeleteZone(z);
        QTRY_VERIFY(!z);
        QCOMPARE(picker()->stickers.size(), 16);
        QVERIFY(picker()->stickers.first().isSmartLetter);
        QCOMPARE(picker()->cellAt(0)->stickerView()->label()->text(), QString("Z"));
        QCOMPARE(picker()->cellAt(1)->sticker()->imageName, QString("approved"));
    }

    void aStickerIsPlacedScaledCentredAndOnTop()
    {
        open();
        test::click(m_editor->controlsView()->annotateButton());
        QTest::keyClicks(m_editor->canvasScrollView(), "Note");
        clickDone();
        test::click(m_editor->annotateControlsView()->backButton());
        openStickers();
        AnnotateView *note = m_editor->annotationViews.first();
        // The annotation is moved to the layer's centre, under where the
        // sticker will come.
        note->setCenter(m_editor->canvasImageView()->boundingRect().center());
        StickerView *wrong = pick(4);
        QCOMPARE(wrong->sticker()->imageName, QString("wrong1"));
        QCOMPARE(wrong->transform(), QTransform::fromScale(0.45, 0.45));
        QCOMPARE(wrong->frame().size(), QSizeF(180, 147.15));
        QCOMPARE(wrong->center(), m_editor->canvasImageView()->boundingRect().center());
        QCOMPARE(wrong->style().fontSize, 130.0);
        const QPoint centre = at(wrong);
        const QPoint inViewport = m_editor->canvasScrollView()->viewport()->mapFrom(m_window.get(), centre);
        const QList<QGraphicsItem *> hits = m_editor->canvasScrollView()->items(inViewport);
        QVERIFY(!hits.isEmpty());
        QVERIFY(hits.first() == wrong || wrong->isAncestorOf(hits.first()));
        // The two "Wrong" stickers look different.
        const QImage one = Bundle::kit().image("wrong1");
        const QImage two = Bundle::kit().image("wrong2");
        QVERIFY(!one.isNull() && !two.isNull());
        QVERIFY(test::matchingShare(one, two) < 0.8);
    }

    void annotationsAreAddedEditedAndFinished()
    {
        open();
        test::click(m_editor->controlsView()->annotateButton());
        QCOMPARE(m_editor->annotationViews.size(), 1);
        AnnotateView *first = m_editor->annotationViews.first();
        const qreal y = m_editor->canvasImageView()->frame().height() * 0.25;
        QCOMPARE(first->frame(), QRectF(0, y - 35.0 / 3.0, 390, 35));
        QVERIFY(m_editor->activeAnnotationIsEditing);
        QCOMPARE(activeText(), first->textView());
        QCOMPARE(first->textView()->backgroundColor(), QColor(200, 200, 200, 77));

        QTest::keyClicks(m_editor->canvasScrollView(), "One");
        QCOMPARE(first->textView()->toPlainText(), QString("One"));
        // A colour pick recolours all of the text at once.
        test::click(m_editor->annotateControlsView()->cellAt(0));
        QTextCursor cursor(first->textView()->document());
        cursor.setPosition(2);
        QCOMPARE(cursor.charFormat().foreground().color(), QColor(Qt::black));
        QCOMPARE(first->textView()->tintColor(), QColor(Qt::black));
        // A second line grows the box; its width and top stay.
        const qreal oneLine = first->frame().height();
        QTest::keyClick(m_editor->canvasScrollView(), Qt::Key_Return);
        QTest::keyClicks(m_editor->canvasScrollView(), "Two");
        QVERIFY(first->frame().height() > oneLine + 15);
        QCOMPARE(first->frame().width(), 390.0);
        QCOMPARE(first->frame().top(), y - 35.0 / 3.0);
        // A tap while editing does nothing.
        test::tap(m_window.get(), windowPoint(m_editor, QPointF(200, 500)));
        QCOMPARE(m_editor->annotationViews.size(), 1);

        // The keyboard lifts the colour bar and the panel behind it.
        Keyboard::shared().post(true, {QRectF(0, 460, 390, 300), 0.05, QEasingCurve::Linear});
        QCOMPARE(m_editor->annotateControlsBottomConstraint.constant(), 300.0);
        QCOMPARE(m_editor->keyboardBackgroundHeightConstraint.constant(), 300.0);
        QCOMPARE(m_editor->controlsBottomConstraint.constant(), 0.0);
        Keyboard::shared().post(false, {QRectF(0, 760, 390, 300), 0.05, QEasingCurve::Linear});
        QCOMPARE(m_editor->annotateControlsBottomConstraint.constant(), 0.0);
        QCOMPARE(m_editor->keyboardBackgroundHeightConstraint.constant(), 0.0);

        clickDone();
        QVERIFY(!m_editor->activeAnnotationIsEditing);
        QCOMPARE(first->textView()->backgroundColor().alpha(), 0);
        QCOMPARE(m_editor->canvasImageViewRecognizers().size(), 1);
        // A tap adds the next one there and freezes the first.
        test::tap(m_window.get(), windowPoint(m_editor, QPointF(200, 500)));
        QCOMPARE(m_editor->annotationViews.size(), 2);
        AnnotateView *second = m_editor->annotationViews.at(1);
        QCOMPARE(second->frame().top(), 500 - 35.0 / 3.0);
        QVERIFY(!first->textView()->isEditable());
        QCOMPARE(second->textView()->defaultTextColor(), QColor(Qt::black));
        // Finished empty: off the canvas, but its tag stays taken.
        clickDone();
        QVERIFY(!second->scene());
        QCOMPARE(m_editor->annotationViews.size(), 2);
        test::tap(m_window.get(), windowPoint(m_editor, QPointF(200, 300)));
        QCOMPARE(m_editor->annotationViews.size(), 3);
        QCOMPARE(m_editor->annotationViews.at(2)->tag(), 2);
        QCOMPARE(m_editor->annotationViews.at(2)->textView()->tag(), 2);
        // Leaving the tool freezes the text and drops the layer's taps.
        test::click(m_editor->annotateControlsView()->backButton());
        QVERIFY(m_editor->canvasImageViewRecognizers().isEmpty());
        QVERIFY(!m_editor->activeTextView);
    }

    void aFinishedTextIsEditedAgainByATap()
    {
        open();
        test::click(m_editor->controlsView()->annotateButton());
        QTest::keyClicks(m_editor->canvasScrollView(), "Total");
        clickDone();
        AnnotateView *first = m_editor->annotationViews.first();
        test::tap(m_window.get(), at(first));
        QCOMPARE(m_editor->annotationViews.size(), 1);
        QVERIFY(m_editor->activeAnnotationIsEditing);
        QCOMPARE(activeText(), first->textView());
        QTest::keyClick(m_editor->canvasScrollView(), Qt::Key_End);
        QTest::keyClicks(m_editor->canvasScrollView(), " wrong");
        QCOMPARE(first->textView()->toPlainText(), QString("Total wrong"));
        clickDone();
        // Beside it, a tap still starts the next text.
        test::tap(m_window.get(), windowPoint(m_editor, QPointF(200, 600)));
        QCOMPARE(m_editor->annotationViews.size(), 2);
    }

    void theDeleteZoneShrinksRestoresAndDeletes()
    {
        open();
        openStickers();
        QSignalSpy impacts(&Haptics::shared(), &Haptics::impactRequested);
        QSignalSpy notifications(&Haptics::shared(), &Haptics::notificationRequested);
        QPointer<StickerView> sticker = pick(1);
        const QPoint start = at(sticker);
        QWindow *handle = m_window->windowHandle();
        const QPoint zone = startDrag(start);
        QVERIFY(m_editor->panGestureActive);
        moveTo(start + QPoint(0, 20), zone);
        QCOMPARE(impacts.size(), 1);
        QTRY_VERIFY(std::abs(scaleOf(sticker) - (0.45 * 0.25)) < 1e-9);
        QVERIFY(sticker->wasReduced);
        // Out again: back to its size, still marked as reduced.
        moveTo(zone, zone + QPoint(0, 200));
        QTRY_VERIFY(std::abs(scaleOf(sticker) - (0.45)) < 1e-9);
        QVERIFY(sticker->wasReduced);
        moveTo(zone + QPoint(0, 200), zone);
        QTRY_VERIFY(std::abs(scaleOf(sticker) - (0.45 * 0.25)) < 1e-9);
        QCOMPARE(notifications.size(), 0);
        QTest::mouseRelease(handle, Qt::LeftButton, {}, zone);
        QVERIFY(!m_editor->deleteView()->isVisible());
        QVERIFY(!m_editor->panGestureActive);
        QCOMPARE(notifications.size(), 1);
        QCOMPARE(notifications.first().first().value<HapticNotificationType>(), HapticNotificationType::success);
        QTRY_VERIFY(!sticker);

        // An annotation dropped there leaves the others' tags alone.
        test::click(picker()->backButton());
        test::click(m_editor->controlsView()->annotateButton());
        QTest::keyClicks(m_editor->canvasScrollView(), "First");
        clickDone();
        test::tap(m_window.get(), windowPoint(m_editor, QPointF(200, 450)));
        QTest::keyClicks(m_editor->canvasScrollView(), "Second");
        clickDone();
        QPointer<AnnotateView> first = m_editor->annotationViews.first();
        dropOnDeleteZone(first);
        QTRY_VERIFY(!first);
        QCOMPARE(m_editor->annotationViews.size(), 1);
        QCOMPARE(m_editor->annotationViews.first()->tag(), 1);
    }

    void anObjectDroppedOffTheScreenshotComesBack()
    {
        open(300);
        openStickers();
        StickerView *sticker = pick(2);
        const QPointF centre = m_editor->canvasImageView()->boundingRect().center();
        const QPoint from = at(sticker);
        startDrag(from);
        // Below the screenshot, over the card.
        moveTo(from + QPoint(0, 20), from + QPoint(0, 260));
        QTest::mouseRelease(m_window->windowHandle(), Qt::LeftButton, {}, from + QPoint(0, 260));
        QVERIFY(sticker->center().y() > 300);
        QTest::qWait(120);
        QVERIFY(sticker->center().y() > centre.y()); // still on its way
        QTRY_VERIFY(QLineF(sticker->center(), centre).length() < 1e-9);
        // Within the screenshot it stays where it is dropped.
        startDrag(from);
        moveTo(from + QPoint(0, 20), from + QPoint(80, 40));
        QTest::mouseRelease(m_window->windowHandle(), Qt::LeftButton, {}, from + QPoint(80, 40));
        QTest::qWait(400);
        QCOMPARE(sticker->center(), centre + QPointF(80, 40));
    }

    void pinchLimitsAndUnlimitedRotation()
    {
        open();
        openStickers();
        StickerView *sticker = pick(7);
        const QPoint centre = at(sticker);

        // 180 wide: 11 notches down stay above 60 points, the twelfth snaps.
        test::wheel(m_window.get(), centre, -11, Qt::ControlModifier);
        QVERIFY(std::abs(sticker->frame().width() - 180 / std::pow(1.1, 11)) < 0.01);
        test::wheel(m_window.get(), centre, -1, Qt::ControlModifier);
        QCOMPARE(sticker->transform(), QTransform::fromScale(0.15, 0.15));
        QCOMPARE(sticker->frame().width(), 60.0);
        // Up to 400 points wide, never beyond.
        test::wheel(m_window.get(), centre, 40, Qt::ControlModifier);
        QVERIFY(sticker->frame().width() <= 400);
        QVERIFY(sticker->frame().width() * 1.1 > 400);
        // Turning has no limit: 100 notches of 5 degrees.
        const qreal scale = scaleOf(sticker);
        test::wheel(m_window.get(), centre, 100, Qt::ShiftModifier);
        const QTransform t = sticker->transform();
        QCOMPARE(qRound(qRadiansToDegrees(std::atan2(t.m12(), t.m11()))), 140);
        QVERIFY(std::abs(scaleOf(sticker) - scale) < 1e-9);
        // A plain wheel scrolls the canvas instead.
        test::wheel(m_window.get(), centre, -2, Qt::NoModifier);
        QCOMPARE(qRound(qRadiansToDegrees(std::atan2(sticker->transform().m12(), sticker->transform().m11()))), 140);
        QVERIFY(m_editor->canvasScrollView()->contentOffsetY() > 0);
    }

    void touchPinchesAndTurnsASticker()
    {
        open();
        openStickers();
        StickerView *sticker = pick(1);
        const QPoint c = at(sticker);
        // Fingers 60 apart spread to 90 apart: 1.5 times larger.
        test::twoFingers(m_window.get(), c - QPoint(30, 0), c + QPoint(30, 0), c - QPoint(45, 0), c + QPoint(45, 0));
        QVERIFY(std::abs(scaleOf(sticker) - 0.45 * 1.5) < 0.02);
        // A quarter turn clockwise.
        const QPoint d = at(sticker);
        test::twoFingers(m_window.get(), d - QPoint(40, 0), d + QPoint(40, 0), d - QPoint(0, 40), d + QPoint(0, 40));
        const QTransform t = sticker->transform();
        QVERIFY(std::abs(qRadiansToDegrees(std::atan2(t.m12(), t.m11())) - 90) < 3);
        QCOMPARE(sticker->center(), m_editor->canvasImageView()->boundingRect().center());
    }

    void anAnnotationsFontGrowsBelowNinety()
    {
        open();
        test::click(m_editor->controlsView()->annotateButton());
        QTest::keyClicks(m_editor->canvasScrollView(), "Big");
        clickDone();
        AnnotateView *note = m_editor->annotationViews.first();
        const qreal start = note->textView()->fontSize();
        test::wheel(m_window.get(), at(note), 3, Qt::ControlModifier);
        QVERIFY(std::abs(note->textView()->fontSize() - start * std::pow(1.1, 3)) < 0.01);
        QCOMPARE(note->boundsSize(), note->textView()->boundingRect().size());
        test::wheel(m_window.get(), at(note), 40, Qt::ControlModifier);
        const qreal size = note->textView()->fontSize();
        QVERIFY(size < 90);
        QVERIFY(size * 1.1 >= 90);
        QCOMPARE(note->transform(), QTransform()); // the text grows, not the box
    }

    void aTappedStickerBounces()
    {
        open();
        openStickers();
        QSignalSpy impacts(&Haptics::shared(), &Haptics::impactRequested);
        StickerView *first = pick(4);
        StickerView *second = pick(5);
        second->setCenter(second->center() + QPointF(0, 150));
        test::tap(m_window.get(), at(first));
        QCOMPARE(impacts.size(), 1);
        QVERIFY(first->zValue() > second->zValue());
        QTRY_VERIFY_WITH_TIMEOUT(scaleOf(first) > 0.45 * 1.1, 300);
        QTRY_VERIFY(std::abs(scaleOf(first) - (0.45)) < 1e-9);

        // Tapped through the layer, a sticker bounces only where its
        // picture is not transparent.
        for (GestureRecognizer *r : GestureRecognizer::recognizers(m_editor->canvasScrollView()->viewport())) {
            if (r->item() == first && qobject_cast<TapGestureRecognizer *>(r))
                delete r;
        }
        auto *tap = new TapGestureRecognizer;
        tap->addTarget(m_editor, [this](GestureRecognizer *r) { m_editor->tapStickerGesture(r); });
        tap->addTo(m_editor->canvasScrollView()->viewport());
        // The round sticker's box corner is clear.
        test::tap(m_window.get(), windowPoint(m_editor, first->mapToParent(QPointF(-190, -155))));
        QCOMPARE(impacts.size(), 1);
        test::tap(m_window.get(), at(first));
        QCOMPARE(impacts.size(), 2);
    }
};

QTEST_MAIN(PhotoObjectsTest)
#include "tst_photo_objects.moc"
