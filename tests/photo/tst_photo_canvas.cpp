// The screenshot editor's canvas, driven by pointer events through its
// window: strokes only in markup mode, colours, clearing, scrolling within
// its bounds, the mode switches and the note panel's close.
#include "photo/PhotoEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/GestureRecognizer.h"
#include "photo/ColorCell.h"
#include "PhotoTesting.h"
#include "TestSupport.h"

#include <QApplication>
#include <QGraphicsRectItem>
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

    /// A white screenshot taller than the canvas, so that the scroll limit
    /// and not the content's end stops the canvas.
    void open(const QImage &screenshot)
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(390, 760);
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
        QImage image(390, 1200, QImage::Format_ARGB32_Premultiplied);
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
        m_editor->canvasScrollView()->setContentOffset(QPointF(0, 0), false);
        const double limit = m_editor->metadataView()->height() + m_editor->controlsView()->height();
        QCOMPARE(m_editor->scrollLimit(), limit);
        drag(m_window.get(), {200, 600}, {200, 100});
        QCOMPARE(offset(), 500.0 < limit ? 500.0 : limit);
        drag(m_window.get(), {200, 650}, {200, 50});
        QCOMPARE(offset(), limit);
        QVERIFY(m_editor->canvasScrollView()->contentHeight() - m_editor->canvasScrollView()->boundsHeight() > limit);
        drag(m_window.get(), {200, 50}, {200, 650});
        QCOMPARE(offset(), 0.0);

        // The note panel stops scrolling; committing it brings it back.
        test::click(m_editor->controlsView()->noteButton());
        QVERIFY(GestureRecognizer::recognizers(m_editor->canvasScrollView()).isEmpty());
        drag(m_window.get(), {200, 200}, {200, 100});
        QCOMPARE(offset(), 0.0);
        m_editor->resetPanels();
        drag(m_window.get(), {200, 200}, {200, 100});
        QCOMPARE(offset(), 100.0);
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
