// A long note pasted into the note editor and sent to monday through a real
// tessivo-relay process at its default settings: the tester is told it was
// shared, the relay's inbox holds the whole text, and monday (a stand-in of
// its API) gets an item name cut to 255 characters with the whole text as an
// update on that item.
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/NoteEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/UserDefaults.h"
#include "sharing/MondayManager.h"
#include "LocalHttpServer.h"
#include "TestSupport.h"

#include <QApplication>
#include <QClipboard>
#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tessivo;
using test::HttpRequest;
using test::HttpResponse;

namespace {

/// 20,000 characters: accented letters, emoji and line breaks, with an emoji
/// across code units 253 and 254 of the report's text ("Ann: " + note).
QString longNote()
{
    QString text = QString(QStringLiteral("Évènement à noter, ")).repeated(20).left(248) + QStringLiteral("\U0001F41E");
    const QString line = QStringLiteral("Crème brûlée <b>&amp;</b> \"Ünïcödé\" \U0001F680 after rotating.\n");
    while (text.toUcs4().size() < 20000)
        text += line;
    QList<uint> characters = text.toUcs4().first(20000);
    characters.last() = '.'; // a note loses trailing spaces, never its last letter
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), characters.size());
}

/// The text of an update body: monday's updates are HTML.
QString fromUpdateBody(QString html)
{
    html.replace(QStringLiteral("<br>"), QStringLiteral("\n"));
    html.replace(QStringLiteral("&lt;"), QStringLiteral("<"));
    html.replace(QStringLiteral("&gt;"), QStringLiteral(">"));
    html.replace(QStringLiteral("&quot;"), QStringLiteral("\""));
    html.replace(QStringLiteral("&amp;"), QStringLiteral("&"));
    return html;
}

QJsonObject variables(const HttpRequest &request)
{
    return QJsonDocument::fromJson(request.body).object().value(QStringLiteral("variables")).toObject();
}

} // namespace

class RelayLongNoteTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    QTemporaryDir m_data;
    std::unique_ptr<test::LocalHttpServer> m_monday;
    QProcess m_relay;
    QString m_baseUrl;
    QString m_adminToken;
    QString m_inboxProduct;
    QString m_mondayProduct;
    std::unique_ptr<QWidget> m_window;
    QNetworkAccessManager m_network;

    QString admin(const QStringList &arguments)
    {
        QProcess p;
        p.start(QStringLiteral(TESSIVO_RELAY_BINARY), QStringList{QStringLiteral("--data-dir"), m_data.path()} + arguments);
        if (!p.waitForFinished(15000) || p.exitCode() != 0)
            qWarning("tessivo-relay %s: %s", qPrintable(arguments.join(QLatin1Char(' '))), p.readAllStandardError().constData());
        return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
    }

    /// Trigger, note option, the name, the note pasted, then monday.
    void send(const QString &note)
    {
        UserDefaults::standard().removeObject(QStringLiteral("noteAuthor")); // the name field starts empty
        TessivoKit::shared().startFeedback();
        SelectOptionViewController *choice = nullptr;
        QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
        QTRY_VERIFY(choice->hasAppeared());
        QTest::mouseClick(choice->imageView(), Qt::LeftButton, {}, choice->imageView()->rect().center());
        QPointer<NoteEditorViewController> editor;
        QTRY_VERIFY((editor = qobject_cast<NoteEditorViewController *>(topMostViewController())));
        QTRY_VERIFY(editor->noteView() && editor->noteView()->nameTextView()->hasFocus());
        NoteTextView *panel = editor->noteView();
        QTest::keyClicks(panel->nameTextView(), "Ann");
        QTest::keyClick(panel->nameTextView(), Qt::Key_Return);
        QVERIFY(panel->noteTextView()->hasFocus());
        QApplication::clipboard()->setText(note);
        QTest::keyClick(panel->noteTextView(), Qt::Key_V, Qt::ControlModifier);
        QTest::mouseClick(editor->controlsView()->shareButton(), Qt::LeftButton);
        QTRY_VERIFY(editor->shareView()->isVisible());
        QTest::mouseClick(editor->shareView()->mondayButton(), Qt::LeftButton);

        QPointer<AlertController> alert;
        QTRY_VERIFY_WITH_TIMEOUT((alert = qobject_cast<AlertController *>(topMostViewController())), 30000);
        QCOMPARE(alert->alertTitle().value_or(QString()), QStringLiteral("Shared!"));
        alert->tapAction(0);
        QTRY_VERIFY(!alert || topMostViewController() != alert);
    }

    QJsonArray inboxItems()
    {
        QNetworkRequest request(QUrl(m_baseUrl + QStringLiteral("/inbox/items")));
        request.setRawHeader("Authorization", "Bearer " + m_adminToken.toUtf8());
        std::unique_ptr<QNetworkReply> reply(m_network.get(request));
        if (!QTest::qWaitFor([&] { return reply->isFinished(); }, 10000))
            return {};
        return QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("items")).toArray();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_data.isValid());
        QCoreApplication::setApplicationVersion(QStringLiteral("3.1"));
        m_monday = std::make_unique<test::LocalHttpServer>([](const HttpRequest &request) {
            if (request.body.contains("create_update"))
                return HttpResponse{200, R"({"data":{"create_update":{"id":"77"}}})"};
            return HttpResponse{200, R"({"data":{"create_item":{"id":"4242"}}})"};
        });

        // Two products: one kept in the relay's inbox, one forwarded to monday.
        m_inboxProduct = admin({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"),
                                QStringLiteral("com.example.longnote")});
        const QString tokenPath = m_data.filePath(QStringLiteral("monday.token"));
        QFile token(tokenPath);
        QVERIFY(token.open(QIODevice::WriteOnly));
        token.write("monday-token\n");
        token.close();
        m_mondayProduct = admin({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"),
                                 QStringLiteral("com.example.longnote.monday"), QStringLiteral("--sink"),
                                 QStringLiteral("monday"), QStringLiteral("--board-id"), QStringLiteral("1"),
                                 QStringLiteral("--group-id"), QStringLiteral("topics"),
                                 QStringLiteral("--file-column-id"), QStringLiteral("files"),
                                 QStringLiteral("--token-file"), tokenPath});
        m_adminToken = admin({QStringLiteral("admin-token")});
        QVERIFY(!m_inboxProduct.isEmpty() && !m_mondayProduct.isEmpty() && !m_adminToken.isEmpty());

        // The relay at its defaults, but for its port and monday's address.
        m_relay.start(QStringLiteral(TESSIVO_RELAY_BINARY),
                      {QStringLiteral("serve"), QStringLiteral("--data-dir"), m_data.path(), QStringLiteral("--port"),
                       QStringLiteral("0"), QStringLiteral("--monday-api-url"), m_monday->baseUrl() + QStringLiteral("/v2"),
                       QStringLiteral("--monday-file-url"), m_monday->baseUrl() + QStringLiteral("/v2/file")});
        QVERIFY(m_relay.waitForStarted(5000));
        const QRegularExpression listening(QStringLiteral("listening on 127\\.0\\.0\\.1:(\\d+)"));
        QByteArray log;
        QDeadlineTimer deadline(10000);
        while (m_baseUrl.isEmpty() && !deadline.hasExpired() && m_relay.state() == QProcess::Running) {
            m_relay.waitForReadyRead(100);
            log += m_relay.readAllStandardError();
            if (const auto match = listening.match(QString::fromUtf8(log)); match.hasMatch())
                m_baseUrl = QStringLiteral("http://127.0.0.1:%1").arg(match.captured(1));
        }
        QVERIFY2(!m_baseUrl.isEmpty(), log.constData());
        connect(&m_relay, &QProcess::readyReadStandardError, this, [this] { m_relay.readAllStandardError(); });

        qputenv(MondayManager::kRelayUrlEnvironment, m_baseUrl.toUtf8());
        m_window = std::make_unique<QWidget>();
        m_window->resize(390, 760);
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
    }

    void aLongNoteArrivesWhole()
    {
        const QString note = longNote();
        const QString text = QStringLiteral("Ann: ") + note;

        TessivoKit::shared().setProductId(m_inboxProduct);
        send(note);
        if (QTest::currentTestFailed())
            return;
        const QJsonArray items = inboxItems();
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.first()[QStringLiteral("name")].toString(), text);

        TessivoKit::shared().setProductId(m_mondayProduct);
        send(note);
        if (QTest::currentTestFailed())
            return;
        const QList<HttpRequest> calls = m_monday->requests();
        QCOMPARE(calls.size(), 2);
        // The emoji across code units 253 and 254 is left out whole.
        QCOMPARE(variables(calls[0])[QStringLiteral("name")].toString(), text.left(253) + QStringLiteral("\u2026"));
        QVERIFY(calls[1].body.contains("create_update"));
        QCOMPARE(variables(calls[1])[QStringLiteral("item")].toString(), QStringLiteral("4242"));
        QCOMPARE(fromUpdateBody(variables(calls[1])[QStringLiteral("body")].toString()), text);
    }

    void cleanupTestCase()
    {
        m_window.reset();
        if (m_relay.state() != QProcess::NotRunning) {
            m_relay.terminate();
            if (!m_relay.waitForFinished(10000))
                m_relay.kill();
        }
    }
};

QTEST_MAIN(RelayLongNoteTest)
#include "tst_relay_long_note.moc"
