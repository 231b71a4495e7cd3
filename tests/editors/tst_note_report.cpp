// A note report from the trigger to its destination, driven by input
// events in an offscreen host window: the capture choice, the note editor,
// a name, a note, two note types, the share panel, then the relay, the
// Trello stand-in, the share sheet, or a failing backend.
#include "core/Configs.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/NoteEditorViewController.h"
#include "editors/ReportDelivery.h"
#include "metadata/MetadataTexts.h"
#include "platform/ActivityViewController.h"
#include "platform/UserDefaults.h"
#include "sharing/MondayManager.h"
#include "sharing/TrelloManager.h"
#include "HangUpServer.h"
#include "LocalHttpServer.h"
#include "TestSupport.h"

#include <QApplication>
#include <QClipboard>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QScopeGuard>
#include <QTest>

using namespace tessivo;
using test::HttpRequest;
using test::HttpResponse;

namespace {

void click(QWidget *widget)
{
    QVERIFY(widget && widget->isVisible());
    QTest::mouseClick(widget, Qt::LeftButton, {}, widget->rect().center());
}

QString expectedSummary()
{
    return QStringLiteral("Ann: Crash on save\nafter rotating");
}

} // namespace

class NoteReportTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<test::LocalHttpServer> m_server;
    QPointer<NoteEditorViewController> m_editor;

    /// Trigger, note option, name, note, types Bug and Other, share panel.
    void reachSharePanel()
    {
        TessivoKit::shared().startFeedback();
        SelectOptionViewController *choice = nullptr;
        QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
        QTRY_VERIFY(choice->hasAppeared());
        click(choice->imageView());
        QTRY_VERIFY((m_editor = qobject_cast<NoteEditorViewController *>(topMostViewController())));
        QTRY_VERIFY(m_editor->noteView() && m_editor->noteView()->isVisible());
        NoteTextView *panel = m_editor->noteView();
        QTRY_VERIFY(panel->nameTextView()->hasFocus()); // straight into the name field

        QTest::keyClicks(panel->nameTextView(), "Ann");
        QTest::keyClick(panel->nameTextView(), Qt::Key_Return); // moves on to the note
        QVERIFY(panel->noteTextView()->hasFocus());
        QTest::keyClicks(panel->noteTextView(), "Crash on save");
        QTest::keyClick(panel->noteTextView(), Qt::Key_Return);
        QTest::keyClicks(panel->noteTextView(), "after rotating");
        CollectionView *types = panel->noteTypeCollectionView();
        click(types->cellForItem(0)); // Feedback was preselected: off
        click(types->cellForItem(1));
        click(types->cellForItem(3));

        click(m_editor->controlsView()->shareButton());
        QTRY_VERIFY(m_editor->shareView()->isVisible());
        QCOMPARE(m_editor->metadata.author, QString("Ann"));
        QCOMPARE(m_editor->metadata.selectedNoteTypes, (QStringList{"Bug", "Other"}));
        QCOMPARE(m_editor->metadataView()->metadata().note, QString("Crash on save\nafter rotating"));
    }

    /// The result alert, shown once the editor is gone.
    void expectResult(const QString &title, const QString &message)
    {
        // The tapped alert deletes itself once it is dismissed.
        QPointer<AlertController> alert;
        QTRY_VERIFY_WITH_TIMEOUT((alert = qobject_cast<AlertController *>(topMostViewController())), 10000);
        QTRY_VERIFY(!m_editor);
        QCOMPARE(alert->alertTitle(), title);
        QCOMPARE(alert->message(), message);
        QCOMPARE(alert->presentingViewController(), ViewController::rootOf(m_window.get()));
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);
        alert->tapAction(0);
        QTRY_VERIFY(!alert || !alert->isVisible() || topMostViewController() != alert);
    }

    void serve(test::LocalHttpServer::Handler handler)
    {
        m_server->setHandler(std::move(handler));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setApplicationVersion("5.2");
        m_server = std::make_unique<test::LocalHttpServer>([](const HttpRequest &) { return HttpResponse{}; });
        // The relay endpoints are derived once: set the base first.
        qputenv(MondayManager::kRelayUrlEnvironment, m_server->baseUrl().toUtf8());
        qputenv(TrelloManager::kApiUrlEnvironment, m_server->baseUrl().toUtf8());
    }

    void init()
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(390, 760);
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        TessivoKit::shared().navigationAlreadyStarted = false;
        TessivoKit::shared().optionalConfigs.reset();
        ReportDelivery::setStepTimeout(65);
        UserDefaults::standard().removeObject("noteAuthor");
    }

    void cleanup()
    {
        m_window.reset();
    }

    void toTheRelay()
    {
        TessivoKit::shared().setProductId(QStringLiteral("P-7"));
        serve([](const HttpRequest &request) {
            if (request.path() == "/monday/add-item")
                return HttpResponse{200, R"({"id":"123"})"};
            return HttpResponse{404, "{}"};
        });
        reachSharePanel();
        if (QTest::currentTestFailed())
            return;
        click(m_editor->shareView()->mondayButton());
        expectResult("Shared!", "Your Tessivo was sent to monday.com!");
        QCOMPARE(TessivoKit::shared().shareMethod, ShareMethod::monday);
        const QList<HttpRequest> requests = m_server->requests();
        QCOMPARE(requests.size(), 1); // the item; a note has nothing to upload
        QCOMPARE(requests[0].query().queryItemValue("productId"), QString("P-7"));
        QCOMPARE(QJsonDocument::fromJson(requests[0].body).object().value("item_name").toString(),
                 expectedSummary());
    }

    void toTrello()
    {
        auto configs = std::make_shared<TrelloConfigs>("list1", "key1", "token1");
        configs->setShareMethod(ShareMethod::trello);
        TessivoKit::shared().optionalConfigs = configs;
        const int before = m_server->requests().size();
        serve([](const HttpRequest &request) {
            if (request.path() == "/1/cards")
                return HttpResponse{200, R"({"id":"c1"})"};
            return HttpResponse{200, "{}"};
        });
        reachSharePanel();
        if (QTest::currentTestFailed())
            return;
        // The panel offers the relay and the share sheet; a host configured
        // for Trello is delivered to with the card's texts all the same.
        TessivoKit::shared().shareMethod = ShareMethod::trello;
        MetadataView *card = m_editor->metadataView();
        const QString summary = metadata::noteAttributedText(card->metadata(), MetadataView::noteFont()).string();
        const QString details = card->reportSummary();
        m_editor->hideShareView();
        m_editor->sendFeedback(std::nullopt, std::nullopt, "note.png", summary, details, true);
        expectResult("Shared!", "Your Tessivo was sent to Trello!");
        const QList<HttpRequest> requests = m_server->requests().mid(before);
        QCOMPARE(requests.size(), 2);
        const QJsonObject body = QJsonDocument::fromJson(requests[0].body).object();
        QCOMPARE(body.value("name").toString(), expectedSummary());
        QCOMPARE(body.value("desc").toString(), details);
        QVERIFY(details.contains(expectedSummary()));
        QCOMPARE(requests[1].path(), QString("/1/cards/c1/attachments"));
        QVERIFY(requests[1].body.contains("filename=\"note.png\"\r\nContent-Type: image/png\r\n\r\n\r\n--"));
    }

    void toTheShareSheet()
    {
        QApplication::clipboard()->clear();
        reachSharePanel();
        if (QTest::currentTestFailed())
            return;
        const QSize cardSize = m_editor->image->size();
        QVERIFY(!cardSize.isEmpty());
        click(m_editor->shareView()->otherButton());
        ActivityViewController *sheet = nullptr;
        QTRY_VERIFY((sheet = qobject_cast<ActivityViewController *>(topMostViewController())));
        QVERIFY(!m_editor->isUserInteractionEnabled());
        sheet->perform(ActivityType::copyToPasteboard);
        QTRY_COMPARE(QApplication::clipboard()->image().size(), cardSize);
        QTRY_VERIFY(!m_editor); // closeAfter
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);
    }

    void aFailingBackend()
    {
        auto configs = std::make_shared<TrelloConfigs>("list1", "badkey", "token1");
        TessivoKit::shared().optionalConfigs = configs;
        const int before = m_server->requests().size();
        serve([](const HttpRequest &) { return HttpResponse{401, "invalid key", "text/plain"}; });
        reachSharePanel();
        if (QTest::currentTestFailed())
            return;
        TessivoKit::shared().shareMethod = ShareMethod::trello;
        m_editor->hideShareView();
        m_editor->sendFeedback(std::nullopt, std::nullopt, "note.png", "s", "d", true);
        QVERIFY(!m_editor->isUserInteractionEnabled());
        QVERIFY(m_editor->activityIndicator()->isVisible());
        expectResult("Error!", "Your Tessivo cannot be sent to Trello!");
        QTest::qWait(300);
        QCOMPARE(m_server->requests().size() - before, 1); // no attachment, no retry
    }

    void aBackendThatHangsUp()
    {
        // The stand-in reads the card request and closes the connection
        // without an answer: the card is asked for once, the tester is told.
        test::HangUpServer hangUp;
        qputenv(TrelloManager::kApiUrlEnvironment, hangUp.baseUrl().toUtf8());
        const auto restore = qScopeGuard(
            [this] { qputenv(TrelloManager::kApiUrlEnvironment, m_server->baseUrl().toUtf8()); });
        TessivoKit::shared().optionalConfigs = std::make_shared<TrelloConfigs>("list1", "key1", "token1");
        test::ConsoleCapture console;
        reachSharePanel();
        if (QTest::currentTestFailed())
            return;
        TessivoKit::shared().shareMethod = ShareMethod::trello;
        m_editor->hideShareView();
        m_editor->sendFeedback(std::nullopt, std::nullopt, "note.png", "s", "d", true);
        expectResult("Error!", "Your Tessivo cannot be sent to Trello!");
        QTest::qWait(300);
        QCOMPARE(hangUp.received().size(), 1);
        QCOMPARE(console.lines(), QStringList{"Create trello card error:Error Domain=URLErrorDomain "
                                              "Code=-1005 \"The network connection was lost.\""});
    }

    void aBackendThatNeverAnswers()
    {
        // A list id with a space forms no URL: the client sends nothing and
        // never calls back; the editor's own time-out ends the wait.
        TessivoKit::shared().optionalConfigs = std::make_shared<TrelloConfigs>("bad list", "k", "t");
        ReportDelivery::setStepTimeout(0.5);
        const int before = m_server->requests().size();
        reachSharePanel();
        if (QTest::currentTestFailed())
            return;
        TessivoKit::shared().shareMethod = ShareMethod::trello;
        m_editor->hideShareView();
        m_editor->sendFeedback(std::nullopt, std::nullopt, "note.png", "s", "d", true);
        expectResult("Error!", "Your Tessivo cannot be sent to Trello!");
        QCOMPARE(m_server->requests().size(), before);

        // monday without a product id fails at once.
        TessivoKit::shared().setProductId(std::nullopt);
        UserDefaults::standard().removeObject("noteAuthor");
        reachSharePanel();
        if (QTest::currentTestFailed())
            return;
        click(m_editor->shareView()->mondayButton());
        expectResult("Error!", "Your Tessivo cannot be sent to monday.com!");
    }
};

QTEST_MAIN(NoteReportTest)
#include "tst_note_report.moc"
