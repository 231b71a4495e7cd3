// The relay killed (SIGKILL) while a report is on its way to it, then
// restarted on the same data: the tester is told, the database stays sound,
// nothing half-received shows in the inbox, and reports go through again.
// A proxy between the kit and the relay holds a request back midway so that
// the kill lands while the relay has read part of it.
#include "DemoRelay.h"
#include "StallingProxy.h"

#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/NoteEditorViewController.h"
#include "editors/ReportDelivery.h"
#include "platform/AlertController.h"
#include "platform/PngEncoder.h"
#include "platform/UserDefaults.h"
#include "sharing/MondayManager.h"
#include "TestSupport.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTest>

#include <csignal>
#include <memory>

using namespace tessivo;

namespace {

const QString kBundleId = QStringLiteral("com.example.relayfaults");

// Noise does not compress: its PNG is a few megabytes, so an upload takes
// many reads on the relay's side.
QImage noise()
{
    QImage image(900, 900, QImage::Format_RGB32);
    QRandomGenerator random(7);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<quint32 *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x)
            line[x] = 0xff000000u | (random.generate() & 0xffffffu);
    }
    return image;
}

} // namespace

class RelayFaultsTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    test::ConsoleCapture m_console;
    QTemporaryDir m_data;
    StallingProxy m_proxy;
    std::unique_ptr<DemoRelay> m_relay;
    std::unique_ptr<QWidget> m_window;
    QNetworkAccessManager m_network;

    void startRelay()
    {
        m_relay = std::make_unique<DemoRelay>(QStringLiteral(TESSIVO_RELAY_BINARY), m_data.path());
        QString error;
        QVERIFY2(m_relay->start(kBundleId, &error), qPrintable(error));
        m_proxy.setUpstreamPort(QUrl(m_relay->baseUrl()).port());
    }

    void killRelay()
    {
        QVERIFY(m_relay->processId() > 0);
        ::kill(static_cast<pid_t>(m_relay->processId()), SIGKILL);
        m_relay.reset();
    }

    /// The kit's path to a report: the capture choice, then the note editor.
    NoteEditorViewController *openNoteEditor()
    {
        TessivoKit::shared().startFeedback();
        SelectOptionViewController *choice = nullptr;
        if (!QTest::qWaitFor([&] { return (choice = qobject_cast<SelectOptionViewController *>(topMostViewController()))
                                          && choice->hasAppeared(); }))
            return nullptr;
        QTest::mouseClick(choice->imageView(), Qt::LeftButton, {}, choice->imageView()->rect().center());
        NoteEditorViewController *editor = nullptr;
        (void)QTest::qWaitFor([&] { return (editor = qobject_cast<NoteEditorViewController *>(topMostViewController())); });
        return editor;
    }

    /// Waits for the result alert and dismisses it; returns its title.
    QString resultTitle()
    {
        AlertController *alert = nullptr;
        if (!QTest::qWaitFor([&] { return (alert = qobject_cast<AlertController *>(topMostViewController())); }, 20000))
            return QStringLiteral("(no alert)");
        const QString title = alert->alertTitle().value_or(QString());
        alert->tapAction(0);
        (void)QTest::qWaitFor([&] { return topMostViewController() != alert; });
        return title;
    }

    QJsonArray inboxItems()
    {
        QNetworkRequest request(QUrl(m_relay->baseUrl() + QStringLiteral("/inbox/items")));
        request.setRawHeader("Authorization", "Bearer " + m_relay->adminToken().toUtf8());
        std::unique_ptr<QNetworkReply> reply(m_network.get(request));
        if (!QTest::qWaitFor([&] { return reply->isFinished(); }, 10000))
            return {};
        return QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("items")).toArray();
    }

    QJsonObject inboxItemNamed(const QString &name)
    {
        for (const QJsonValue &item : inboxItems())
            if (item[QStringLiteral("name")].toString() == name)
                return item.toObject();
        return {};
    }

    QString integrity()
    {
        QString result;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("check"));
            db.setDatabaseName(m_data.filePath(QStringLiteral("relay.sqlite")));
            if (db.open()) {
                QSqlQuery q(QStringLiteral("PRAGMA integrity_check"), db);
                result = q.next() ? q.value(0).toString() : q.lastError().text();
            } else {
                result = db.lastError().text();
            }
        }
        QSqlDatabase::removeDatabase(QStringLiteral("check"));
        return result;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_data.isValid());
        QCoreApplication::setApplicationVersion(QStringLiteral("3.1"));
        startRelay();
        // The kit reaches the relay through the proxy, whatever port a
        // restarted relay gets.
        qputenv(MondayManager::kRelayUrlEnvironment, m_proxy.baseUrl().toUtf8());
        auto productId = std::make_shared<std::optional<QString>>();
        auto answered = std::make_shared<std::atomic<bool>>(false);
        MondayManager::fetchProductId(kBundleId, [productId, answered](std::optional<QString> id) {
            *productId = id;
            *answered = true;
        });
        QTRY_VERIFY_WITH_TIMEOUT(*answered, 10000);
        QVERIFY(productId->has_value());
        TessivoKit::shared().setProductId(*productId);
        TessivoKit::shared().shareMethod = ShareMethod::monday;
        UserDefaults::standard().setString(QStringLiteral("Robin"), QStringLiteral("noteAuthor"));
        ReportDelivery::setStepTimeout(20);

        m_window = std::make_unique<QWidget>();
        m_window->resize(390, 760);
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
    }

    void killedWhileAnItemIsCreated()
    {
        // The relay has the request line and part of the headers.
        m_proxy.stallAfter("POST /monday/add-item", 60);
        NoteEditorViewController *editor = openNoteEditor();
        QVERIFY(editor);
        const QString name = QStringLiteral("Killed while the item was created");
        editor->sendFeedback(std::nullopt, std::nullopt, QStringLiteral("note.png"), name, QStringLiteral("d"), true);
        QTRY_VERIFY_WITH_TIMEOUT(m_proxy.hasStalled(), 10000);
        killRelay();
        QCOMPARE(resultTitle(), QStringLiteral("Error!"));

        m_proxy.forwardEverything();
        startRelay();
        QCOMPARE(integrity(), QStringLiteral("ok"));
        QVERIFY(inboxItemNamed(name).isEmpty());
    }

    void killedWhileAFileUploads()
    {
        const QImage image = noise();
        const qint64 pngSize = PngEncoder::encode(image).size();
        QVERIFY(pngSize > 2'000'000);

        // The item is made, then the relay dies a megabyte into the file.
        // The tester was already told: the kit only logs an upload's outcome.
        m_proxy.stallAfter("POST /monday/upload-file", 1'000'000);
        m_console.clear();
        NoteEditorViewController *editor = openNoteEditor();
        QVERIFY(editor);
        const QString name = QStringLiteral("Killed while the file was uploaded");
        editor->sendFeedback(image, std::nullopt, QStringLiteral("shot.png"), name, QStringLiteral("d"), true);
        QCOMPARE(resultTitle(), QStringLiteral("Shared!"));
        QTRY_VERIFY_WITH_TIMEOUT(m_proxy.hasStalled(), 20000);
        killRelay();
        // The client's error, in the log.
        QTRY_VERIFY_WITH_TIMEOUT(m_console.contains(QStringLiteral("Optional(Error Domain=")), 10000);

        m_proxy.forwardEverything();
        startRelay();
        QCOMPARE(integrity(), QStringLiteral("ok"));
        const QJsonObject item = inboxItemNamed(name);
        QVERIFY(!item.isEmpty());
        QVERIFY(item[QStringLiteral("files")].toArray().isEmpty()); // no half file

        // The next report goes through whole.
        editor = openNoteEditor();
        QVERIFY(editor);
        const QString again = QStringLiteral("Sent after the restart");
        editor->sendFeedback(image, std::nullopt, QStringLiteral("shot.png"), again, QStringLiteral("d"), true);
        QCOMPARE(resultTitle(), QStringLiteral("Shared!"));
        QTRY_VERIFY_WITH_TIMEOUT(!inboxItemNamed(again)[QStringLiteral("files")].toArray().isEmpty(), 20000);
        const QJsonObject file = inboxItemNamed(again)[QStringLiteral("files")].toArray().first().toObject();
        QCOMPARE(qint64(file[QStringLiteral("size")].toDouble()), pngSize);
    }

    void cleanupTestCase()
    {
        m_window.reset();
    }
};

QTEST_MAIN(RelayFaultsTest)
#include "tst_relay_faults.moc"
