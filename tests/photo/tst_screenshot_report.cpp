// A screenshot report from the trigger to its destination, driven by input
// events in an offscreen host window: the capture choice, the screenshot
// editor, a red stroke and a dot, a name and a note, the share panel, and
// the Trello stand-in that receives the PNG; then the quit sheet's save to
// the photo library.
#include "core/Configs.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/ReportDelivery.h"
#include "photo/ColorCell.h"
#include "photo/PhotoEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/UserDefaults.h"
#include "sharing/TrelloManager.h"
#include "photo/StickerView.h"
#include "photo/StickersCell.h"
#include "platform/Toolbar.h"
#include "LocalHttpServer.h"
#include "ObjectTesting.h"
#include "PhotoTesting.h"
#include "TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace tessivo;
using test::HttpRequest;
using test::HttpResponse;

namespace {

/// The PNG inside the attachment's multipart body.
QImage uploadedImage(const HttpRequest &request)
{
    const QByteArray body = request.body;
    const qsizetype name = body.indexOf("filename=\"screenshot.png\"");
    if (name < 0)
        return QImage();
    const qsizetype start = body.indexOf("\r\n\r\n", name) + 4;
    const qsizetype end = body.lastIndexOf("\r\n--");
    return QImage::fromData(body.mid(start, end - start), "PNG");
}

/// How much red a column (or row) of pixels holds, in pixels of full red
/// over the white screenshot.
double redCoverage(const QImage &image, int x, int yFrom, int yTo)
{
    double sum = 0;
    for (int y = yFrom; y <= yTo; ++y) {
        const QColor c = image.pixelColor(x, y);
        if (c.red() > 200)
            sum += 1.0 - c.green() / 255.0;
    }
    return sum;
}

} // namespace

class ScreenshotReportTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    QTemporaryDir m_photos;
    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<test::LocalHttpServer> m_server;
    QPointer<PhotoEditorViewController> m_editor;
    static constexpr int kScreenshotHeight = 760;

    /// Trigger, screenshot option, a red stroke and a tap dot.
    void openAndDraw()
    {
        TessivoKit::shared().startFeedback();
        SelectOptionViewController *choice = nullptr;
        QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
        QTRY_VERIFY(choice->hasAppeared());
        test::click(choice->screenshotView());
        QTRY_VERIFY((m_editor = qobject_cast<PhotoEditorViewController *>(topMostViewController())));
        QTRY_VERIFY(m_editor->hasAppeared());
        QCOMPARE(m_editor->image().size(), m_window->size() * m_window->devicePixelRatioF());
        // It opens on the whole screenshot, with the card below it.
        QTRY_COMPARE(m_editor->mapTo(m_window.get(), QPoint(0, 0)), QPoint(0, 0));
        QCOMPARE(m_editor->canvasScrollView()->contentOffsetY(), 0.0);
        QVERIFY(m_editor->canvasScrollView()->contentHeight() > m_editor->canvasScrollView()->boundsHeight());
        showPointForPoint();

        test::click(m_editor->controlsView()->markupButton());
        QTRY_COMPARE(m_editor->canvasScrollView()->contentOffsetY(), 0.0);
        test::click(m_editor->markupControlsView()->cellAt(2));
        test::drag(m_window.get(), {60, 200}, {300, 200});
        test::tap(m_window.get(), {200, 400});
        test::click(m_editor->markupControlsView()->backButton());
    }

    /// Makes the window taller by the bar, so that the canvas shows the
    /// screenshot at its own size and window points are screenshot points.
    void showPointForPoint()
    {
        // Once the screens have slid in.
        QTRY_COMPARE(m_editor->mapTo(m_window.get(), QPoint(0, 0)), QPoint(0, 0));
        m_window->resize(390, kScreenshotHeight + m_editor->controlsView()->height());
        QTRY_COMPARE(m_editor->canvasScrollView()->contentScale(), 1.0);
    }

    /// A name and a note, then the share panel.
    void writeAndShare()
    {
        test::click(m_editor->controlsView()->noteButton());
        NoteTextView *panel = m_editor->noteView();
        QTRY_VERIFY(panel->isVisible() && panel->nameTextView()->hasFocus());
        QTest::keyClicks(panel->nameTextView(), "Ann");
        QTest::keyClick(panel->nameTextView(), Qt::Key_Return);
        QTest::keyClicks(panel->noteTextView(), "Total stays the same");
        test::click(m_editor->controlsView()->shareButton());
        QTRY_VERIFY(m_editor->shareView()->isVisible());
        QCOMPARE(m_editor->metadataView()->metadata().note, QString("Total stays the same"));
    }

    /// Picks the tracker (Trello here) and returns the uploaded image.
    QImage sendToTrello()
    {
        const int before = static_cast<int>(m_server->requests().size());
        test::click(m_editor->shareView()->mondayButton());
        AlertController *alert = nullptr;
        [&] { QTRY_VERIFY_WITH_TIMEOUT((alert = qobject_cast<AlertController *>(topMostViewController())), 10000); }();
        if (!alert)
            return QImage();
        [&] { QCOMPARE(alert->alertTitle(), QString("Shared!")); }();
        alert->tapAction(0);
        const QList<HttpRequest> requests = m_server->requests().mid(before);
        if (requests.size() != 2)
            return QImage();
        return uploadedImage(requests[1]);
    }

    /// The image holds the whole canvas at the device pixel ratio, and the
    /// card below the screenshot.
    void checkCanvas(const QImage &png)
    {
        QVERIFY(!png.isNull());
        const qreal dpr = m_editor->canvasScrollView()->devicePixelRatioF();
        const int screenshotHeight = kScreenshotHeight;
        MetadataView *card = m_editor->metadataView();
        QCOMPARE(png.size(), QSize(390, screenshotHeight + card->height()) * dpr);
        const QImage cardImage = card->grab().toImage();
        const QImage below = png.copy(QRect(QPoint(0, screenshotHeight) * dpr, cardImage.size()));
        QVERIFY2(test::matchingShare(below, cardImage) > 0.97, "the card is below the screenshot");
        const QImage top = png.copy(0, 0, png.width(), 150 * dpr);
        QVERIFY(test::matchingShare(top, m_editor->image().copy(0, 0, png.width(), 150 * dpr)) > 0.99);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setApplicationVersion("2.4");
        m_server = std::make_unique<test::LocalHttpServer>([](const HttpRequest &request) {
            if (request.path() == "/1/cards")
                return HttpResponse{200, R"({"id":"c9"})"};
            return HttpResponse{200, "{}"};
        });
        qputenv(TrelloManager::kApiUrlEnvironment, m_server->baseUrl().toUtf8());
        qputenv("TESSIVO_PHOTO_LIBRARY_DIR", m_photos.path().toUtf8());
        auto configs = std::make_shared<TrelloConfigs>("list1", "key1", "token1");
        configs->setShareMethod(ShareMethod::trello);
        TessivoKit::shared().optionalConfigs = configs;
        ReportDelivery::setStepTimeout(20);
    }

    void init()
    {
        m_window = std::make_unique<QWidget>();
        m_window->setStyleSheet("background: white; color: black;");
        auto *layout = new QVBoxLayout(m_window.get());
        layout->addWidget(new QLabel("Checkout"));
        layout->addStretch();
        m_window->resize(390, kScreenshotHeight);
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        TessivoKit::shared().navigationAlreadyStarted = false;
        UserDefaults::standard().removeObject("noteAuthor");
    }

    void cleanup() { m_window.reset(); }

    void aMarkedUpScreenshotReachesTrello()
    {
        openAndDraw();
        if (QTest::currentTestFailed())
            return;
        writeAndShare();
        if (QTest::currentTestFailed())
            return;
        const QImage png = sendToTrello();
        checkCanvas(png);
        if (QTest::currentTestFailed())
            return;
        const qreal dpr = png.devicePixelRatio();
        QCOMPARE(dpr, 1.0); // offscreen: points are pixels below
        QVERIFY(m_editor); // a screenshot report leaves the editor open

        // Along the stroke: red, 5 points wide.
        for (int x = 62; x <= 298; x += 8) {
            QVERIFY2(test::isRed(png.pixelColor(x, 199)) && test::isRed(png.pixelColor(x, 200)),
                     qPrintable(QString("stroke at x %1").arg(x)));
            QVERIFY(qAbs(redCoverage(png, x, 190, 210) - 5.0) < 0.6);
        }
        QVERIFY(!test::isRed(png.pixelColor(180, 195)));
        QVERIFY(!test::isRed(png.pixelColor(180, 204)));
        // Round ends: the coverage narrows past the end points and is gone
        // 2.5 points beyond them (a square cap would stay 5 wide).
        QVERIFY(redCoverage(png, 58, 190, 210) > 3.0);
        QVERIFY(redCoverage(png, 58, 190, 210) < 4.8);
        QVERIFY(redCoverage(png, 57, 190, 210) < 2.0);
        QCOMPARE(redCoverage(png, 55, 190, 210), 0.0);
        QVERIFY(redCoverage(png, 302, 190, 210) < 2.0);
        // The tap's dot: a disc of diameter 5 centred where the tap was.
        QVERIFY(test::isRed(png.pixelColor(199, 399)) && test::isRed(png.pixelColor(200, 400)));
        double disc = 0;
        for (int x = 194; x <= 206; ++x)
            disc += redCoverage(png, x, 394, 406);
        QVERIFY2(qAbs(disc - M_PI * 2.5 * 2.5) < 3.0, qPrintable(QString::number(disc)));
        QVERIFY(!test::isRed(png.pixelColor(204, 400)));
    }

    void aStickerAndAnAnnotationReachTrello()
    {
        TessivoKit::shared().startFeedback();
        SelectOptionViewController *choice = nullptr;
        QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
        QTRY_VERIFY(choice->hasAppeared());
        test::click(choice->screenshotView());
        QTRY_VERIFY((m_editor = qobject_cast<PhotoEditorViewController *>(topMostViewController())));
        QTRY_VERIFY(m_editor->hasAppeared());
        showPointForPoint();

        // A red "OK" a quarter of the way down.
        test::click(m_editor->controlsView()->annotateButton());
        QTRY_VERIFY(!m_editor->canvasScrollView()->isScrollAnimating());
        QTest::keyClicks(m_editor->canvasScrollView(), "OK");
        QPushButton *done = m_editor->toolbar()->findChild<QPushButton *>();
        test::click(done);
        test::click(m_editor->annotateControlsView()->backButton());
        const qreal textY = kScreenshotHeight * 0.25;

        // The right arrow, dragged, turned a quarter clockwise, 1.1³ larger.
        test::click(m_editor->controlsView()->stickersButton());
        QTRY_VERIFY(!m_editor->canvasScrollView()->isScrollAnimating());
        test::click(m_editor->stickersControlsView()->cellAt(9));
        const QPointF centre = m_editor->canvasImageView()->boundingRect().center() + QPointF(-60, 120);
        const QPoint from = test::windowPoint(m_editor, m_editor->canvasImageView()->boundingRect().center());
        test::drag(m_window.get(), from, from + QPoint(-60, 120));
        const QPoint at = test::windowPoint(m_editor, centre);
        test::wheel(m_window.get(), at, 18, Qt::ShiftModifier);
        test::wheel(m_window.get(), at, 3, Qt::ControlModifier);
        test::click(m_editor->stickersControlsView()->backButton());

        writeAndShare();
        if (QTest::currentTestFailed())
            return;
        const QImage png = sendToTrello();
        QVERIFY(!png.isNull());
        QCOMPARE(png.devicePixelRatio(), 1.0);

        auto isOrange = [](const QColor &c) { return c.red() > 220 && c.green() > 100 && c.green() < 190 && c.blue() < 80; };
        // Arrow-local points to the image: turned 90° clockwise, scaled.
        const qreal s = 0.45 * std::pow(1.1, 3);
        auto placed = [&](QPointF local) { return (centre + QPointF(-local.y(), local.x()) * s).toPoint(); };
        for (const QPointF local : {QPointF(-120, 0), QPointF(-60, 30), QPointF(0, -30), QPointF(100, 0),
                                    QPointF(60, 60), QPointF(60, -60)})
            QVERIFY2(isOrange(png.pixelColor(placed(local))), qPrintable(QString("arrow at %1,%2").arg(local.x()).arg(local.y())));
        // Beside the shaft and beyond the tip the white screenshot shows
        // (at most under a faint shadow).
        auto isLight = [](const QColor &c) { return c.red() > 180 && c.green() > 180 && c.blue() > 180; };
        for (const QPointF local : {QPointF(-60, -95), QPointF(-60, 95), QPointF(200, 0)})
            QVERIFY2(isLight(png.pixelColor(placed(local))),
                     qPrintable(QString("clear at %1,%2").arg(local.x()).arg(local.y())));

        // The text: red, centred on the line, around the height it was put.
        int red = 0;
        QRect redBox;
        for (int y = int(textY) - 20; y < int(textY) + 40; ++y) {
            for (int x = 0; x < png.width(); ++x) {
                if (test::isRed(png.pixelColor(x, y))) {
                    ++red;
                    redBox |= QRect(x, y, 1, 1);
                }
            }
        }
        QVERIFY2(red > 60, qPrintable(QString::number(red)));
        QVERIFY(qAbs(redBox.center().x() - png.width() / 2) < 6);
        QVERIFY(redBox.top() > textY - 12 && redBox.bottom() < textY + 24);
    }

    void scrolledToTheTopTheImageStillHoldsTheCard()
    {
        UserDefaults::standard().setString("Ann", "noteAuthor");
        openAndDraw();
        if (QTest::currentTestFailed())
            return;
        test::click(m_editor->controlsView()->shareButton());
        QTRY_VERIFY(m_editor->shareView()->isVisible());
        QTRY_VERIFY(!m_editor->canvasScrollView()->isScrollAnimating());
        m_editor->canvasScrollView()->setContentOffset(QPointF(0, 0), false);
        const QImage png = sendToTrello();
        checkCanvas(png);
        QCOMPARE(m_editor->canvasScrollView()->contentOffsetY(), 0.0);
    }

    void quitThenSaveToPhotos()
    {
        openAndDraw();
        if (QTest::currentTestFailed())
            return;
        test::click(m_editor->controlsView()->closeButton());
        AlertController *sheet = nullptr;
        QTRY_VERIFY((sheet = qobject_cast<AlertController *>(m_editor->presentedViewController())));
        QCOMPARE(sheet->actions().at(0).title(), QString("Save to Photos"));
        QCOMPARE(sheet->actions().at(1).title(), QString("Delete Screenshot"));
        const QImage expected = m_editor->renderCanvas();
        sheet->tapAction(0);
        // The result alert (the sheet is gone: its address may be reused).
        AlertController *told = nullptr;
        QTRY_VERIFY((told = qobject_cast<AlertController *>(topMostViewController()))
                    && told->message() == QString("Screenshot saved to Photos library!"));
        QDir folder(m_photos.path());
        const QStringList files = folder.entryList({"*.png"}, QDir::Files);
        QCOMPARE(files.size(), 1);
        const QImage saved(folder.filePath(files.first()));
        QCOMPARE(saved.size(), expected.size());
        QCOMPARE(saved.convertToFormat(QImage::Format_ARGB32),
                 expected.convertToFormat(QImage::Format_ARGB32)); // the same pixels
        QTRY_VERIFY_WITH_TIMEOUT(!m_editor, 5000); // closes 2 s later
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);
    }
};

QTEST_MAIN(ScreenshotReportTest)
#include "tst_screenshot_report.moc"
