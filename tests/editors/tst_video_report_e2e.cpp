// A video report from the trigger to its destination: a real recording of an
// animating window, the video option, a note, the share panel, the Trello
// stand-in; then quitting with "Save to Photos"; then two more reports in a
// row, each recorded from a window of its own colour.
#include "capture/CaptureMananger.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/VideoEditorViewController.h"
#include "metadata/MetadataView.h"
#include "metadata/SharingMethodView.h"
#include "metadata/VideoMetadataView.h"
#include "photo/CanvasScrollView.h"
#include "photo/PhotoEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/UserDefaults.h"
#include "LocalHttpServer.h"
#include "AnimatedWindow.h"
#include "MovieProbe.h"
#include "TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tessivo;
using test::HttpRequest;
using test::HttpResponse;

namespace {


double durationOf(const QString &path)
{
    QProcess probe;
    probe.start("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path});
    probe.waitForFinished(20000);
    return QString::fromUtf8(probe.readAllStandardOutput()).trimmed().toDouble();
}

// The file part of a multipart body: what lies between its headers and the
// closing delimiter.
QByteArray filePart(const QByteArray &body)
{
    const int name = body.indexOf("filename=");
    const int start = body.indexOf("\r\n\r\n", name) + 4;
    const int end = body.lastIndexOf("\r\n--");
    return name < 0 || start < 4 || end < start ? QByteArray() : body.mid(start, end - start);
}

double channelDistance(QRgb a, QRgb b)
{
    return (std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b)))
        / 3.0;
}

/// The card as a screenshot report draws it under the screenshot, `width`
/// points wide: the photo editor's own rendering of a canvas that holds no
/// screenshot. With `enabled` false, the same card drawn disabled.
QImage cardUnderAScreenshot(const CaptureInfo &metadata, int width, bool enabled)
{
    PhotoEditorViewController photo;
    photo.metadata = metadata;
    photo.setAttribute(Qt::WA_DontShowOnScreen);
    photo.resize(width, 800);
    photo.show();
    // The canvas is as wide as the scroller's viewport.
    QWidget *viewport = photo.canvasScrollView()->viewport();
    photo.resize(photo.width() + width - viewport->width(), photo.height());
    QCoreApplication::processEvents();
    if (viewport->width() != width)
        return QImage(); // narrower than the editor allows
    photo.metadataView()->setEnabled(enabled);
    return photo.renderCanvas().convertToFormat(QImage::Format_RGB32);
}

/// How far the card in a movie frame lies from the card drawn enabled: over
/// all its pixels, and over the pixels where the enabled and the disabled
/// drawings differ (text and icon), from each of the two. The time line is
/// left out: the minute may have turned since the movie was made.
struct CardDistance {
    double overall = 0;
    double textToEnabled = 0;
    double textToDisabled = 0;
    int textPixels = 0;
};

CardDistance cardDistance(const QImage &movieCard, const QImage &enabled, const QImage &disabled, QRect timeLine)
{
    CardDistance result;
    const QImage movie = movieCard.convertToFormat(QImage::Format_RGB32);
    if (movie.size() != enabled.size() || movie.size() != disabled.size())
        return {255, 255, 0, 0};
    int pixels = 0;
    for (int y = 0; y < movie.height(); ++y) {
        for (int x = 0; x < movie.width(); ++x) {
            if (timeLine.contains(x, y))
                continue;
            const QRgb m = movie.pixel(x, y), e = enabled.pixel(x, y), d = disabled.pixel(x, y);
            result.overall += channelDistance(m, e);
            ++pixels;
            if (channelDistance(e, d) > 40) {
                result.textToEnabled += channelDistance(m, e);
                result.textToDisabled += channelDistance(m, d);
                ++result.textPixels;
            }
        }
    }
    result.overall /= std::max(pixels, 1);
    result.textToEnabled /= std::max(result.textPixels, 1);
    result.textToDisabled /= std::max(result.textPixels, 1);
    return result;
}

/// The mean colour of a frame.
QColor meanColor(const QImage &frame)
{
    const QImage small = frame.scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return small.pixelColor(0, 0);
}

} // namespace

class VideoReportTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    QTemporaryDir m_library;
    std::unique_ptr<test::AnimatedWindow> m_host;
    std::unique_ptr<test::LocalHttpServer> m_trello;
    QPointer<VideoEditorViewController> m_editor;

    void recordAndOpenTheEditor()
    {
        TessivoKit::shared().startRecordingProcedure();
        QTRY_VERIFY(TessivoKit::shared().isRecording);
        QTest::qWait(2500);
        TessivoKit::shared().startFeedback();
        SelectOptionViewController *choice = nullptr;
        QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
        QTRY_VERIFY(choice->hasAppeared());
        QCOMPARE(choice->videoDescriptionLabel()->text(), QString("last 10 seconds"));
        choice->showVideoMenu();
        QTRY_VERIFY_WITH_TIMEOUT((m_editor = qobject_cast<VideoEditorViewController *>(topMostViewController())),
                                 15000);
        QVERIFY(m_editor->videoFileURL);
        QVERIFY(m_editor->player());
        QTRY_VERIFY(m_editor->hasAppeared());
    }

    /// Writes the movie of the last attachment the stand-in received.
    void saveDeliveredMovie(const QString &path)
    {
        const QList<HttpRequest> requests = m_trello->requests();
        QVERIFY(!requests.isEmpty());
        QVERIFY(requests.last().body.contains("filename=\"video.mov\""));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(filePart(requests.last().body));
    }

    /// Restarts the background recording with the host painted in `color`.
    void recordAnew(const QColor &color)
    {
        TessivoKit &kit = TessivoKit::shared();
        // The recording that the end of the last session started.
        QTRY_VERIFY(kit.isRecording);
        QSignalSpy written(kit.captureManager(), &CaptureMananger::recordingWritten);
        kit.stopProcedure();
        QTRY_VERIFY(!kit.isRecording);
        QTRY_VERIFY(written.count() > 0);
        m_host->setColor(color);
        QCoreApplication::processEvents();
        kit.startRecordingProcedure();
        QTRY_VERIFY(kit.isRecording);
    }

    /// One whole report: the editor opens on `source`, the report goes to
    /// the stand-in, the delivered movie is saved at `path`, and the editor
    /// closes with "Delete Video".
    void reportTo(const QString &path, const QUrl &source)
    {
        recordAndOpenTheEditor();
        QVERIFY(m_editor);
        QCOMPARE(m_editor->videoFileURL, std::optional(source));
        m_editor->shareTapped();
        QTRY_VERIFY(m_editor->shareView()->isVisible());
        m_editor->shareView()->mondayButtonAction();
        AlertController *result = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((result = qobject_cast<AlertController *>(topMostViewController())), 30000);
        QCOMPARE(result->alertTitle(), std::optional<QString>("Shared!"));
        saveDeliveredMovie(path);
        result->tapAction(0);
        QTRY_COMPARE(topMostViewController(), m_editor.data());
        m_editor->closeTapped();
        AlertController *sheet = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((sheet = qobject_cast<AlertController *>(topMostViewController())), 20000);
        sheet->tapAction(1); // "Delete Video"
        QTRY_VERIFY_WITH_TIMEOUT(!m_editor, 10000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("TESSIVO_PHOTO_LIBRARY_DIR", m_library.path().toUtf8());
        m_trello = std::make_unique<test::LocalHttpServer>([](const HttpRequest &request) {
            if (request.path() == "/1/cards")
                return HttpResponse{200, R"({"id":"card42"})"};
            return HttpResponse{200, R"({"id":"attachment1"})"};
        });
        qputenv("TESSIVO_TRELLO_API_URL", m_trello->baseUrl().toUtf8());
        auto trello = std::make_shared<TrelloConfigs>("list1", "key1", "token1");
        trello->setShareMethod(ShareMethod::trello);
        TessivoKit::shared().optionalConfigs = trello;
        UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
        UserDefaults::standard().setString("Ann", "noteAuthor");
        m_host = std::make_unique<test::AnimatedWindow>(33);
        m_host->resize(480, 360); // the card fits a screenshot editor's width
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
        QApplication::setActiveWindow(m_host.get());
    }

    void aVideoReportReachesTrelloWithTheCardBeforeAndAfter()
    {
        recordAndOpenTheEditor();
        const double video = durationOf(m_editor->videoFileURL->toLocalFile());
        QVERIFY2(video > 1.5 && video < 4.0, qPrintable(QString::number(video)));

        m_editor->noteTapped();
        QTest::keyClicks(m_editor->noteView()->noteTextView(), "Flicker on scroll");
        m_editor->shareTapped();
        QTRY_VERIFY(m_editor->shareView()->isVisible());
        m_editor->shareView()->mondayButtonAction(); // the tracker button: Trello here

        AlertController *result = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((result = qobject_cast<AlertController *>(topMostViewController())), 30000);
        QCOMPARE(result->alertTitle(), std::optional<QString>("Shared!"));
        QCOMPARE(result->message(), std::optional<QString>("Your Tessivo was sent to Trello!"));

        const QList<HttpRequest> requests = m_trello->requests();
        QCOMPARE(requests.size(), 2);
        QVERIFY(requests[0].query().queryItemValue("idList") == "list1");
        QVERIFY(requests[1].path().endsWith("/card42/attachments"));
        QVERIFY(requests[1].body.contains("filename=\"video.mov\""));
        QTemporaryDir scratch;
        const QString uploaded = scratch.filePath("uploaded.mov");
        QFile file(uploaded);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(filePart(requests[1].body));
        file.close();
        // The card's one-second clip opens and closes the video.
        QVERIFY2(std::abs(durationOf(uploaded) - (video + 2.0)) < 0.1,
                 qPrintable(QString("%1 vs %2").arg(durationOf(uploaded)).arg(video)));
        QPointer<AlertController> resultGone(result);
        result->tapAction(0);
        QTRY_VERIFY(!resultGone);
        QCOMPARE(topMostViewController(), m_editor.data());

        // The card that opens the movie is the card under a screenshot, in
        // its enabled colours: not greyed out by the editor being busy.
        const test::MovieInfo info = test::probeMovie(uploaded);
        QVERIFY(info.valid);
        QCOMPARE(qApp->devicePixelRatio(), 1.0);
        VideoMetadataView frame;
        frame.setMetadata(m_editor->metadata);
        frame.renderFrame({info.width, info.height});
        const QRect card = frame.metadataView()->geometry();
        const QImage enabled = cardUnderAScreenshot(m_editor->metadata, card.width(), true);
        const QImage disabled = cardUnderAScreenshot(m_editor->metadata, card.width(), false);
        QCOMPARE(enabled.size(), card.size());
        const QWidget *time = frame.metadataView()->userInfoLabel();
        const QRect timeLine(0, time->mapTo(frame.metadataView(), QPoint()).y(), card.width(), time->height());
        const QImage first = test::movieFrame(uploaded, 0, info.width, info.height);
        QVERIFY(!first.isNull());
        const CardDistance distance = cardDistance(first.copy(card), enabled, disabled, timeLine);
        const QString figures = QString("overall %1, text %2 from enabled and %3 from disabled over %4 pixels")
                                    .arg(distance.overall).arg(distance.textToEnabled)
                                    .arg(distance.textToDisabled).arg(distance.textPixels);
        QVERIFY2(distance.textPixels > 500, qPrintable(figures));
        QVERIFY2(distance.overall < 3, qPrintable(figures));
        QVERIFY2(distance.textToEnabled * 3 < distance.textToDisabled, qPrintable(figures));
    }

    void quittingWithSaveToPhotosKeepsTheMergedVideo()
    {
        QVERIFY(m_editor);
        m_editor->closeTapped();
        AlertController *sheet = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((sheet = qobject_cast<AlertController *>(topMostViewController())), 20000);
        QCOMPARE(sheet->actions().size(), 3);
        QCOMPARE(sheet->actions()[1].title(), QString("Delete Video"));
        QPointer<AlertController> sheetGone(sheet);
        sheet->tapAction(0); // "Save to Photos"
        QTRY_VERIFY(!sheetGone);
        AlertController *saved = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((saved = qobject_cast<AlertController *>(topMostViewController())), 20000);
        QCOMPARE(saved->message(), std::optional<QString>("Video saved to Photos library!"));
        const QStringList movies = QDir(m_library.path()).entryList({"*.mov"});
        QCOMPARE(movies.size(), 1);
        QVERIFY(durationOf(QDir(m_library.path()).filePath(movies.first())) > 2.5);
        // The editor closes by itself and the session ends.
        QTRY_VERIFY_WITH_TIMEOUT(!m_editor, 10000);
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);
    }

    void eachReportSendsTheMovieItsEditorPlayed()
    {
        CaptureMananger *capture = TessivoKit::shared().captureManager();
        QTemporaryDir scratch;
        const QColor firstColor(200, 40, 40), secondColor(40, 60, 200);
        // The first report keeps only its last second: a cut into "finalVideo".
        capture->finalVideoDuration = 1.0f;
        recordAnew(firstColor);
        const QString first = scratch.filePath("first.mov");
        reportTo(first, capture->finalFileURL());
        capture->finalVideoDuration = 10.0f;
        if (QTest::currentTestFailed())
            return;
        // The second is short and has no previous segment: its editor plays
        // the recording itself, and that is what it sends.
        recordAnew(secondColor);
        const QString second = scratch.filePath("second.mov");
        reportTo(second, capture->recordingFileURL());
        if (QTest::currentTestFailed())
            return;
        for (const auto &[movie, color] : {std::pair(first, firstColor), std::pair(second, secondColor)}) {
            const test::MovieInfo info = test::probeMovie(movie);
            QVERIFY(info.frameCount > 6);
            for (int index : {2, info.frameCount / 2, info.frameCount - 3}) {
                const QColor seen = meanColor(test::movieFrame(movie, index, info.width, info.height));
                QVERIFY2(channelDistance(seen.rgb(), color.rgb()) < 20,
                         qPrintable(QString("%1, frame %2: %3").arg(movie).arg(index).arg(seen.name())));
            }
        }
    }
};

int main(int argc, char **argv)
{
    QTemporaryDir data;
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    QApplication app(argc, argv);
    QApplication::setApplicationName("VideoReportHost");
    QApplication::setApplicationVersion("1.0");
    VideoReportTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_video_report_e2e.moc"
