// The screenshot editor's canvas, driven by pointer events through its
// window: strokes only in markup mode, colours, clearing, scrolling within
// its bounds by pointer and keys, the mode switches, the note panel's
// close, and a canvas that keeps its objects and its report whatever the
// window's size.
#include "photo/PhotoEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/GestureRecognizer.h"
#include "photo/ColorCell.h"
#include "photo/StickersCell.h"
#include "PhotoTesting.h"
#include "TestSupport.h"

#include <QApplication>
#include <QGraphicsRectItem>
#include <QPainter>
#include <QPushButton>

using namespace tessivo;
using test::drag;
using test::pixelAt;

class PhotoCanvasTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<QWidget> m_window;
    QPointer<PhotoEditorViewController> m_editor;

    void open(const QImage &screenshot, QSize window = QSize(390, 760))
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(window);
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        m_editor = new PhotoEditorViewController;
        m_editor->setImage(screenshot);
        m_editor->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
        ViewController::rootOf(m_window.get())->present(m_editor, false);
        QTRY_VERIFY(m_editor->hasAppeared());
        QTRY_VERIFY(!m_editor->canvasScrollView()->isScrollAnimating());
    }

    static QImage whiteScreenshot()
    {
        QImage image(390, 660, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::white);
        return image;
    }

    double offset() const { return m_editor->canvasScrollView()->contentOffsetY(); }

    void startMarkup()
    {
        test::click(m_editor->controlsView()->markupButton());
        QVERIFY(m_editor->isDrawing);
        QTRY_VERIFY(!m_editor->canvasScrollView()->isScrollAnimating());
        QCOMPARE(offset(), 0.0);
    }

private Q_SLOTS:
    void initTestCase() { QCoreApplication::setApplicationVersion("3.1"); }
    void init() { open(whiteScreenshot()); }
    void cleanup() { m_window.reset(); }

    void touchesOutsideMarkupNeverDraw()
    {
        drag(m_window.get(), {100, 300}, {250, 320});
        QVERIFY(m_editor->canvasImageView()->image().isNull());

        test::click(m_editor->controlsView()->annotateButton());
        QVERIFY(m_editor->annotateControlsView()->isVisible());
        QVERIFY(!m_editor->controlsView()->isVisible());
        QCOMPARE(m_editor->annotateControlsView()->selectedIndexPath, std::optional<int>(2)); // red
        drag(m_window.get(), {100, 300}, {250, 320});
        test::tap(m_window.get(), {120, 200});
        test::click(m_editor->annotateControlsView()->backButton());
        QVERIFY(m_editor->controlsView()->isVisible());
        QVERIFY(!m_editor->isAnnotating);

        test::click(m_editor->controlsView()->stickersButton());
        QVERIFY(m_editor->stickersControlsView()->isVisible());
        drag(m_window.get(), {100, 300}, {250, 320});
        QVERIFY(m_editor->canvasImageView()->image().isNull());
        m_editor->leaveTool();
        QVERIFY(!ControlsView::isSelected(m_editor->controlsView()->stickersButton()));

        // After markup is left, the same drag scrolls again.
        startMarkup();
        test::click(m_editor->markupControlsView()->backButton());
        QVERIFY(!m_editor->isDrawing);
        QVERIFY(m_editor->canvasScrollView()->isUserInteractionEnabled());
        drag(m_window.get(), {100, 400}, {100, 300});
        QVERIFY(m_editor->canvasImageView()->image().isNull());
        QCOMPARE(offset(), 100.0);
    }

    void aColourChangeAffectsOnlyLaterStrokes()
    {
        startMarkup();
        QCOMPARE(m_editor->markupControlsView()->selectedIndexPath, std::optional<int>(0)); // black
        drag(m_window.get(), {60, 100}, {300, 100});
        test::click(m_editor->markupControlsView()->cellAt(2));
        QCOMPARE(m_editor->drawColor, QColor(Qt::red));
        QCOMPARE(m_editor->annotateColor, QColor(Qt::red)); // untouched by the markup bar
        drag(m_window.get(), {60, 200}, {300, 200});
        const QImage layer = m_editor->canvasImageView()->image();
        QVERIFY(test::isBlack(pixelAt(layer, {180, 100})));
        QVERIFY(test::isRed(pixelAt(layer, {180, 200})));
        QCOMPARE(pixelAt(layer, {180, 150}).alpha(), 0);

        // The annotation bar's colour goes to annotateColor alone.
        test::click(m_editor->markupControlsView()->backButton());
        test::click(m_editor->controlsView()->annotateButton());
        test::click(m_editor->annotateControlsView()->cellAt(1));
        QCOMPARE(m_editor->annotateColor, QColor(Qt::white));
        QCOMPARE(m_editor->drawColor, QColor(Qt::red));
    }

    void clearingKeepsTheOtherObjects()
    {
        auto *object = new QGraphicsRectItem(0, 0, 40, 40, m_editor->canvasImageView());
        object->setPos(300, 300);
        object->setBrush(QColor(0, 0, 255));
        object->setPen(Qt::NoPen);
        startMarkup();
        drag(m_window.get(), {60, 100}, {200, 100});
        QVERIFY(!m_editor->canvasImageView()->image().isNull());
        test::click(m_editor->markupControlsView()->clearButton());
        QVERIFY(m_editor->canvasImageView()->image().isNull());
        QCOMPARE(m_editor->canvasImageView()->childItems().size(), 1);
        const QImage rendered = m_editor->renderCanvas();
        QCOMPARE(pixelAt(rendered, {320, 320}), QColor(0, 0, 255));
        QCOMPARE(pixelAt(rendered, {130, 100}), QColor(Qt::white));
    }

    void scrollingStopsAtTheTopAndAtTheLimit()
    {
        CanvasScrollView *view = m_editor->canvasScrollView();
        view->setContentOffset(QPointF(0, 0), false);
        const double limit = m_editor->metadataView()->height() * view->contentScale()
            + m_editor->controlsView()->height();
        QCOMPARE(m_editor->scrollLimit(), limit);
        const double end = std::min(limit, view->contentHeight() - view->boundsHeight());
        QVERIFY(end > 100);
        drag(m_window.get(), {200, 650}, {200, 50});
        QCOMPARE(offset(), end);
        drag(m_window.get(), {200, 50}, {200, 650});
        QCOMPARE(offset(), 0.0);
        // The keys scroll as the wheel does, within the same bounds.
        QTest::keyClick(view, Qt::Key_Down);
        QCOMPARE(offset(), 48.0);
        QTest::keyClick(view, Qt::Key_End);
        QCOMPARE(offset(), end);
        QTest::keyClick(view, Qt::Key_Home);
        QCOMPARE(offset(), 0.0);

        // The note panel stops scrolling; committing it brings it back.
        test::click(m_editor->controlsView()->noteButton());
        QVERIFY(GestureRecognizer::recognizers(m_editor->canvasScrollView()).isEmpty());
        drag(m_window.get(), {200, 200}, {200, 100});
        QCOMPARE(offset(), 0.0);
        QTest::keyClick(view, Qt::Key_PageDown);
        QTest::keyClick(view, Qt::Key_Down);
        QCOMPARE(offset(), 0.0);
        m_editor->resetPanels();
        drag(m_window.get(), {200, 200}, {200, 100});
        QCOMPARE(offset(), 100.0);
    }

    void theCanvasKeepsItsScreenshotWhateverTheWindow()
    {
        // A screenshot of a window as large as the editor's: it opens whole,
        // at the top, with the card below it.
        QImage screenshot(390, 760, QImage::Format_ARGB32_Premultiplied);
        screenshot.fill(QColor(40, 90, 160));
        QPainter paint(&screenshot);
        paint.fillRect(QRect(0, 0, 390, 60), QColor(230, 230, 235));
        paint.fillRect(QRect(30, 300, 330, 200), Qt::white);
        paint.end();
        m_window.reset();
        open(screenshot);
        CanvasScrollView *view = m_editor->canvasScrollView();
        QCOMPARE(offset(), 0.0);
        QVERIFY(760 * view->contentScale() <= view->boundsHeight() + 0.5);
        QVERIFY(view->contentHeight() > view->boundsHeight());

        startMarkup();
        drag(m_window.get(), {60, 120}, {300, 180});
        test::click(m_editor->markupControlsView()->backButton());
        test::click(m_editor->controlsView()->stickersButton());
        test::click(m_editor->stickersControlsView()->cellAt(2));
        test::click(m_editor->stickersControlsView()->backButton());
        test::click(m_editor->controlsView()->annotateButton());
        QTest::keyClicks(view, "Total is wrong");
        m_editor->toolbar()->findChild<QPushButton *>()->click();
        test::click(m_editor->annotateControlsView()->backButton());
        const QImage before = m_editor->renderCanvas();

        for (QSize size : {QSize(1100, 520), QSize(640, 900)}) {
            m_window->resize(size);
            QTRY_COMPARE(m_editor->size(), size);
            QTest::qWait(50);
            QVERIFY(760 * view->contentScale() <= view->boundsHeight() + 0.5);
            const QImage after = m_editor->renderCanvas();
            QCOMPARE(after.size(), before.size());
            // The card shows the time of day; the screenshot with its
            // strokes, sticker and text must not move by a pixel.
            const QRect shot(0, 0, qRound(390 * before.devicePixelRatio()), qRound(760 * before.devicePixelRatio()));
            QCOMPARE(test::matchingShare(before.copy(shot), after.copy(shot), 0), 1.0);
        }
    }

    void closeWithTheNotePanelOpenOnlyClosesIt()
    {
        test::click(m_editor->controlsView()->noteButton());
        QVERIFY(m_editor->isNote);
        QTRY_VERIFY(m_editor->noteView()->isVisible());
        QTest::keyClicks(m_editor->noteView()->noteTextView(), "Total is wrong");
        test::click(m_editor->controlsView()->closeButton());
        QVERIFY(!m_editor->noteView()->isVisible());
        QCOMPARE(m_editor->metadata.note, QString("Total is wrong"));
        QCOMPARE(m_editor->metadataView()->metadata().note, QString("Total is wrong"));
        QTest::qWait(50);
        QVERIFY(!qobject_cast<AlertController *>(m_editor->presentedViewController()));
        QVERIFY(!ControlsView::isSelected(m_editor->controlsView()->noteButton()));

        // The next close asks to quit.
        test::click(m_editor->controlsView()->closeButton());
        auto *sheet = qobject_cast<AlertController *>(m_editor->presentedViewController());
        QVERIFY(sheet);
        QCOMPARE(sheet->actions().at(1).title(), QString("Delete Screenshot"));
    }

    void doneCommitsTheNoteAndShowsTheCard()
    {
        QPushButton *done = m_editor->toolbar()->findChild<QPushButton *>();
        QVERIFY(done);
        auto openNoteAtTheTop = [this] {
            m_editor->canvasScrollView()->setContentOffset(QPointF(0, 0), false);
            test::click(m_editor->controlsView()->noteButton());
            QTRY_VERIFY(m_editor->noteView()->isVisible());
        };
        // An empty note that stays empty leaves the canvas where it is.
        openNoteAtTheTop();
        done->click();
        QVERIFY(!m_editor->noteView()->isVisible());
        QTest::qWait(CanvasScrollView::kScrollAnimationMs + 100);
        QCOMPARE(offset(), 0.0);

        openNoteAtTheTop();
        QTest::keyClicks(m_editor->noteView()->noteTextView(), "Coupon ignored");
        done->click();
        QCOMPARE(m_editor->metadataView()->metadata().note, QString("Coupon ignored"));
        const CanvasScrollView *scroller = m_editor->canvasScrollView();
        QTRY_COMPARE(offset(), scroller->contentHeight() - scroller->boundsHeight());
    }

    void anEditorWithoutAScreenshot()
    {
        // The capture choice screen hands over no image when no window was
        // key: an invalid value for the "image" property.
        m_window.reset();
        open(whiteScreenshot());
        QVERIFY(m_editor->setProperty("image", QVariant()));
        QVERIFY(m_editor->image().isNull());
        m_window.reset();
        open(QImage());
        startMarkup();
        drag(m_window.get(), {60, 100}, {300, 100});
        test::tap(m_window.get(), {100, 300});
        const QImage rendered = m_editor->renderCanvas();
        QCOMPARE(rendered.size(), QSize(390, m_editor->metadataView()->height()));
    }
};

QTEST_MAIN(PhotoCanvasTest)
#include "tst_photo_canvas.moc"
