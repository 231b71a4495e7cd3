// Item names as long as the kit makes them (a pasted note of thousands of
// characters): taken whole within the body limit, kept and shown whole by the
// inbox, and sent to monday as a cut name plus the whole text as an update.
// Runs on SQLite, or on PostgreSQL with TESSIVO_RELAY_TEST_BACKEND=postgres.
#include "RelayTestSupport.h"

#include "InboxPage.h"
#include "Log.h"
#include "RelayServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QtTest>

using namespace relaytest;
using relay::Product;
using relay::RelayConfig;
using relay::RelayServer;

namespace {

/// About `length` code units of a note: accented letters, an emoji, line
/// breaks and markup, with a surrogate pair across code units 253 and 254.
QString longNote(int length)
{
    QString text = QStringLiteral("Ann: ") + QString(248, QLatin1Char('a')) + QStringLiteral("\U0001F41E tail");
    const QString line = QStringLiteral("Crème brûlée <b>&amp;</b> \"Ünïcödé\" \U0001F680 ends here.\n");
    while (text.size() < length)
        text += line;
    return text;
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

QJsonObject json(const QByteArray &body)
{
    return QJsonDocument::fromJson(body).object();
}

QJsonObject variables(const StandInMonday::Call &call)
{
    return json(call.body).value(QStringLiteral("variables")).toObject();
}

} // namespace

class TestRelayItemNames : public RelayTestBase
{
    Q_OBJECT

private:
    Product addProduct(bool monday)
    {
        return RelayTestBase::addProduct(monday ? QStringLiteral("com.example.monday")
                                                : QStringLiteral("com.example.inbox"),
                                         monday, QStringLiteral("monday-token"));
    }

    Reply addItem(const QString &productId, const QString &name)
    {
        const QByteArray body = QJsonDocument(QJsonObject{{QStringLiteral("item_name"), name}}).toJson();
        return m_http.send("POST", url(QStringLiteral("/monday/add-item?productId=") + productId), body,
                           {{"Content-Type", "application/json"}});
    }

    Reply upload(const QString &productId)
    {
        const QByteArray body = "--B\r\nContent-Disposition: form-data; name=\"productId\"\r\n\r\n" + productId.toUtf8()
            + "\r\n--B\r\nContent-Disposition: form-data; name=\"file\"; filename=\"testFile.png\"\r\n"
              "Content-Type: image/png\r\n\r\nPNG\r\n--B--\r\n";
        return m_http.send("POST", url(QStringLiteral("/monday/upload-file")), body,
                           {{"Content-Type", "multipart/form-data; boundary =B"}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (postgresMissing())
            QSKIP("No PostgreSQL server given: set TESSIVO_TEST_POSTGRES_URL (scripts/ci-postgres.sh starts one).");
    }

    // The relay's defaults, for the length limits these tests are about.
    void init() { QVERIFY(setUpRelay()); }
    void cleanup() { tearDownRelay(); }

    void theInboxKeepsAndShowsTheWholeText()
    {
        const Product p = addProduct(false);
        const QString note = longNote(30000);
        const Reply item = addItem(p.id, note);
        QCOMPARE(item.status, 200);

        const Headers bearer{{"Authorization", "Bearer " + m_relay->adminToken().toUtf8()}};
        const Reply listing = m_http.get(url(QStringLiteral("/inbox/items")), bearer);
        const QJsonObject entry = json(listing.body).value(QStringLiteral("items")).toArray().first().toObject();
        QCOMPARE(entry.value(QStringLiteral("name")).toString(), note);

        // The page heads the report with the text's beginning and holds the
        // whole text, escaped.
        const Reply page = m_http.get(url(QStringLiteral("/inbox")), bearer);
        QCOMPARE(page.status, 200);
        const QString html = QString::fromUtf8(page.body);
        const QRegularExpressionMatch heading = QRegularExpression(QStringLiteral("<h2>(.*?)</h2>"),
                                                                   QRegularExpression::DotMatchesEverythingOption)
                                                    .match(html);
        QVERIFY(heading.hasMatch());
        QVERIFY(heading.captured(1).size() < 400);
        QVERIFY(note.startsWith(heading.captured(1).chopped(1)));
        QVERIFY(html.contains(relay::InboxPage::escape(note)));
        QVERIFY(!html.contains(QStringLiteral("<b>&amp;</b>")));
    }

    void mondayGetsACutNameAndTheWholeTextAsAnUpdate()
    {
        const Product p = addProduct(true);
        const QString note = longNote(20000);
        const Reply item = addItem(p.id, note);
        QCOMPARE(item.status, 200);
        QCOMPARE(json(item.body).value(QStringLiteral("id")).toString(), QStringLiteral("9000001"));
        QCOMPARE(upload(p.id).status, 200);

        // In order: the item, its text, the file.
        const QList<StandInMonday::Call> calls = m_monday->calls();
        QCOMPARE(calls.size(), 3);
        QVERIFY(json(calls[0].body).value(QStringLiteral("query")).toString().contains(QStringLiteral("create_item")));
        // The emoji across code units 253 and 254 is left out whole.
        QCOMPARE(variables(calls[0]).value(QStringLiteral("name")).toString(),
                 note.left(253) + QStringLiteral("\u2026"));
        QVERIFY(json(calls[1].body).value(QStringLiteral("query")).toString().contains(QStringLiteral("create_update")));
        QCOMPARE(variables(calls[1]).value(QStringLiteral("item")).toString(), QStringLiteral("9000001"));
        const QString body = variables(calls[1]).value(QStringLiteral("body")).toString();
        QVERIFY(!body.contains(QStringLiteral("<b>")));
        QCOMPARE(fromUpdateBody(body), note);
        QCOMPARE(calls[2].path, QStringLiteral("/v2/file"));
        QVERIFY(calls[2].body.contains("add_file_to_column (item_id: 9000001,"));
    }

    void aRefusedUpdateKeepsTheItem()
    {
        const Product p = addProduct(true);
        m_monday->setRefuseUpdates(true);
        const QString note = longNote(5800);
        const Reply item = addItem(p.id, note);
        QCOMPARE(item.status, 200);
        QCOMPARE(json(item.body).value(QStringLiteral("id")).toString(), QStringLiteral("9000001"));
        QVERIFY(m_log->contains(QStringLiteral("monday: create_update failed")));
        QVERIFY(m_log->contains(QStringLiteral("COMPLEXITY_BUDGET_EXHAUSTED")));
        // The whole text stays with the relay's own record of the item, and
        // the file still finds it.
        QCOMPARE(m_relay->items().newest(1).first().name, note);
        QCOMPARE(upload(p.id).status, 200);
        QCOMPARE(m_monday->calls().size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestRelayItemNames)
#include "tst_relay_item_names.moc"
