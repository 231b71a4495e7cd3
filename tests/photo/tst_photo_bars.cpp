// The photo editor's bars: the six-button press algorithm, and the colour
// bars' swatches, their chosen mark and their buttons, pressed with clicks.
#include "photo/AnnotateControlsView.h"
#include "photo/ColorCell.h"
#include "photo/ControlsView.h"
#include "photo/MarkupControlsView.h"
#include "platform/Layer.h"

#include <QTest>

using namespace tessivo;

namespace {

struct Recorder : ControlsDelegate, MarkupControlsDelegate {
    QStringList calls;
    void annotateTapped() override { calls << "annotate"; }
    void markupTapped() override { calls << "markup"; }
    void noteTapped() override { calls << "note"; }
    void stickersTapped() override { calls << "stickers"; }
    void closeTapped() override { calls << "close"; }
    void shareTapped() override { calls << "share"; }
    void toolDeselected() override { calls << "deselected"; }
    void didSelectColor(const QColor &color) override { calls << "color " + color.name(); }
    void back() override { calls << "back"; }
    void clearDrawing() override { calls << "clear"; }
};

void click(QWidget *widget)
{
    QVERIFY(widget && widget->isVisible());
    QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

} // namespace

class PhotoBarsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pressingAToolTwiceDeselectsIt()
    {
        ControlsView bar;
        Recorder recorder;
        bar.setDelegate(&recorder);
        bar.resize(390, 76);
        bar.show();
        click(bar.markupButton());
        QCOMPARE(recorder.calls, QStringList{"markup"});
        QVERIFY(ControlsView::isSelected(bar.markupButton()));
        click(bar.markupButton());
        QCOMPARE(recorder.calls, (QStringList{"markup", "deselected"}));
        QVERIFY(!ControlsView::isSelected(bar.markupButton()));

        // Each button sends its own operation and is left alone selected.
        recorder.calls.clear();
        for (QToolButton *button : {bar.noteButton(), bar.annotateButton(), bar.stickersButton(), bar.shareButton()})
            click(button);
        QCOMPARE(recorder.calls, (QStringList{"note", "annotate", "stickers", "share"}));
        QVERIFY(ControlsView::isSelected(bar.shareButton()));
        QVERIFY(!ControlsView::isSelected(bar.noteButton()));
        bar.resetButtons();
        QVERIFY(!ControlsView::isSelected(bar.shareButton()));
    }

    void closeWhileSelectedStillCloses()
    {
        ControlsView bar;
        Recorder recorder;
        bar.setDelegate(&recorder);
        bar.show();
        click(bar.closeButton());
        QVERIFY(ControlsView::isSelected(bar.closeButton()));
        click(bar.closeButton());
        QCOMPARE(recorder.calls, (QStringList{"close", "close"}));
    }

    void withoutADelegatePressesOnlyToggle()
    {
        ControlsView bar;
        bar.show();
        click(bar.stickersButton());
        QVERIFY(ControlsView::isSelected(bar.stickersButton()));
        click(bar.stickersButton());
        QVERIFY(!ControlsView::isSelected(bar.stickersButton()));
    }

    void colourBarsOfferBlackWhiteRed()
    {
        MarkupControlsView markup;
        AnnotateControlsView annotate;
        const QList<QColor> expected{QColor(0, 0, 0), QColor(255, 255, 255), QColor(255, 0, 0)};
        QCOMPARE(markup.colors, expected);
        QCOMPARE(annotate.colors, expected);
        QCOMPARE(markup.collectionView()->numberOfItems(), 3);
        ColorCell *red = markup.cellAt(2);
        QVERIFY(red);
        QCOMPARE(red->color(), std::optional<QColor>(QColor(255, 0, 0)));
        Layer *swatch = Layer::of(red->colorView());
        QCOMPARE(swatch->borderWidth(), 2.0);
        QCOMPARE(swatch->borderColor(), QColor(77, 77, 77));
        QCOMPARE(swatch->cornerRadius(), red->colorView()->width() / 2.0);
        QVERIFY(swatch->masksToBounds());
    }

    void defaultColorOutsideTheListMarksNothing()
    {
        MarkupControlsView bar;
        bar.show();
        bar.defaultColor = QColor(0, 128, 0);
        bar.selectDefaultColor();
        QVERIFY(!bar.selectedIndexPath);
        QTest::qWait(ColorControlsView::kAnimationMs + 100);
        for (int item = 0; item < 3; ++item)
            QCOMPARE(bar.cellAt(item)->swatchScale(), 1.0);

        bar.defaultColor = QColor(255, 255, 255);
        bar.selectDefaultColor();
        QCOMPARE(bar.selectedIndexPath, std::optional<int>(1));
    }

    void whiteThenRed()
    {
        MarkupControlsView bar;
        Recorder recorder;
        bar.setDelegate(&recorder);
        bar.resize(390, 76);
        bar.show();
        ColorCell *white = bar.cellAt(1);
        ColorCell *red = bar.cellAt(2);
        click(white);
        QCOMPARE(recorder.calls, QStringList{"color #ffffff"});
        QTRY_COMPARE(white->swatchScale(), 1.4);
        QCOMPARE(white->colorView()->width(), qRound(28 * 1.4));

        QElapsedTimer clock;
        clock.start();
        click(red);
        QCOMPARE(bar.selectedIndexPath, std::optional<int>(2));
        QTest::qWait(60);
        QVERIFY(red->swatchScale() > 1.0 && red->swatchScale() < 1.4); // animating
        QTRY_COMPARE(red->swatchScale(), 1.4);
        QVERIFY(clock.elapsed() >= ColorControlsView::kAnimationMs - 20);
        QCOMPARE(white->swatchScale(), 1.0);
        QCOMPARE(recorder.calls, (QStringList{"color #ffffff", "color #ff0000"}));
    }

    void backAndClearAll()
    {
        MarkupControlsView markup;
        AnnotateControlsView annotate;
        Recorder recorder;
        markup.show();
        annotate.show();
        click(markup.backButton()); // no delegate: nothing
        markup.setDelegate(&recorder);
        struct AnnotateRecorder : AnnotateControlsDelegate {
            QStringList *calls;
            void didSelectColor(const QColor &) override { *calls << "annotate color"; }
            void back() override { *calls << "annotate back"; }
        } annotateRecorder;
        annotateRecorder.calls = &recorder.calls;
        annotate.setDelegate(&annotateRecorder);
        click(markup.clearButton());
        click(markup.backButton());
        click(annotate.backButton());
        click(annotate.cellAt(0));
        QCOMPARE(recorder.calls, (QStringList{"clear", "back", "annotate back", "annotate color"}));
    }
};

QTEST_MAIN(PhotoBarsTest)
#include "tst_photo_bars.moc"
