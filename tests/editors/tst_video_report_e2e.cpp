// A video report from the trigger to its destination: a real recording of an
// animating window, the video option, a note, the share panel, the Trello
// stand-in; then quitting with "Save to Photos".
#include "capture/CaptureMananger.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/VideoEditorViewController.h"
#include "metadata/SharingMethodView.h"
#include "platform/AlertController.h"
#include "platform/UserDefaults.h"
#include "LocalHttpServer.h"
#include "AnimatedWindow.h"
#include "TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QProcess>
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
