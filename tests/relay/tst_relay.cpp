// The relay over real HTTP on 127.0.0.1: both sinks end to end, the error
// answers, the limits, bad input, restart, graceful stop. Runs on SQLite, or
// on PostgreSQL with TESSIVO_RELAY_TEST_BACKEND=postgres.
#include "RelayTestSupport.h"

#include "HangUpServer.h"

#include "Log.h"
#include "RelayServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QtTest>

using namespace relaytest;
using relay::Product;
using relay::RelayConfig;
using relay::RelayServer;

namespace {

const QString kMondayToken = QStringLiteral("monday-secret-token-0123456789");

/// The upload body exactly as the kit's monday client writes it.
QByteArray kitUploadBody(const QByteArray &boundary, const QByteArray &productId, const QByteArray &title,
                         const QByteArray &fileName, const QByteArray &mime, const QByteArray &data,
                         bool titleFirst = false)
{
    const QByteArray p = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"productId\"\r\n\r\n" + productId + "\r\n";
    const QByteArray t = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"title\"\r\n\r\n" + title + "\r\n";
    return (titleFirst ? t + p : p + t) + "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\""
        + fileName + "\"\r\nContent-Type: " + mime + "\r\n\r\n" + data + "\r\n--" + boundary + "--\r\n";
}

Headers kitUploadHeaders(const QByteArray &boundary)
{
    return {{"Content-Type", "multipart/form-data; boundary =" + boundary}};
}

QJsonObject json(const QByteArray &body)
{
    return QJsonDocument::fromJson(body).object();
}

/// What the kit's product-id lookup makes of an answer: a dictionary of
/// text to text with at least one member gives its first value.
std::optional<QString> kitReadsProductId(const QByteArray &body)
{
    const QJsonDocument doc = QJsonDocument::fromJson(body);
    if (!doc.isObject() || doc.object().isEmpty())
        return std::nullopt;
    for (const QJsonValue &v : doc.object()) {
        if (!v.isString())
            return std::nullopt;
    }
    return doc.object().begin().value().toString();
}

} // namespace

class TestRelay : public RelayTestBase
{
    Q_OBJECT

private:
    // Short limits, so that the tests reach them quickly.
    static void withTestLimits(RelayConfig &c)
    {
        c.upstreamTimeoutMs = 2000;
        c.maxBodyBytes = 256 * 1024;
        c.maxItemNameLength = 300;
    }

    RelayConfig baseConfig() const
    {
        RelayConfig c = defaultConfig();
        withTestLimits(c);
        return c;
    }

    Product addProduct(const QString &bundleId, bool monday)
    {
        return RelayTestBase::addProduct(bundleId, monday, kMondayToken);
    }

    Reply addItem(const QString &productId, const QByteArray &body)
    {
        return m_http.send("POST", url(QStringLiteral("/monday/add-item?productId=") + productId), body,
                           {{"Content-Type", "application/json"}});
    }

    Reply upload(const QString &productId, const QByteArray &data, bool titleFirst = false,
                 const QByteArray &mime = "image/png", const QByteArray &fileName = "testFile.png")
    {
        const QByteArray boundary = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toLatin1();
        return m_http.send("POST", url(QStringLiteral("/monday/upload-file")),
                           kitUploadBody(boundary, productId.toUtf8(), "UploadImage", fileName, mime, data, titleFirst),
                           kitUploadHeaders(boundary));
    }

    void verifyHealthy()
    {
        const Reply r = m_http.get(url(QStringLiteral("/healthz")));
        QCOMPARE(r.status, 200);
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (postgresMissing())
            QSKIP("No PostgreSQL server given: set TESSIVO_TEST_POSTGRES_URL (scripts/ci-postgres.sh starts one) "
                  "to run the relay tests on PostgreSQL.");
    }

    void init()
    {
        QVERIFY(setUpRelay(withTestLimits));
    }

    void cleanup()
    {
        // No secret ever reaches a log line.
        if (m_log && m_relay) {
            for (const QString &line : m_log->lines()) {
                QVERIFY2(!line.contains(kMondayToken), qPrintable(line));
                QVERIFY2(!line.contains(m_relay->adminToken()), qPrintable(line));
                for (const Product &p : m_relay->products().all())
                    QVERIFY2(!line.contains(p.id), qPrintable(line));
            }
        }
        tearDownRelay();
    }

    void healthz()
    {
        const Reply r = m_http.get(url(QStringLiteral("/healthz")));
        QCOMPARE(r.status, 200);
        QCOMPARE(json(r.body).value(QStringLiteral("status")).toString(), QStringLiteral("ok"));
        QCOMPARE(json(r.body).value(QStringLiteral("database")).toString(),
                 TestDatabase::wantsPostgres() ? QStringLiteral("postgresql") : QStringLiteral("sqlite"));
    }

    void productIdLookup()
    {
        const Product p = addProduct(QStringLiteral("com.example.app"), false);
        QVERIFY(p.id.size() >= 32); // 128 random bits
        const Reply r = m_http.get(url(QStringLiteral("/product-id?bundleId=com.example.app")));
        QCOMPARE(r.status, 200);
        QCOMPARE(json(r.body).size(), 1);
        QCOMPARE(kitReadsProductId(r.body), std::optional<QString>(p.id));
    }

    void unknownBundleReadsAsNoProductId()
    {
        addProduct(QStringLiteral("com.example.app"), false);
        const Reply unknown = m_http.get(url(QStringLiteral("/product-id?bundleId=com.example.other")));
        QCOMPARE(unknown.body, QByteArray("{}"));
        QCOMPARE(kitReadsProductId(unknown.body), std::nullopt);
        // Every error answer is one that the kit cannot take for an id.
        const Reply missing = m_http.get(url(QStringLiteral("/product-id")));
        QCOMPARE(missing.status, 400);
        QCOMPARE(kitReadsProductId(missing.body), std::nullopt);
        const Reply notFound = m_http.get(url(QStringLiteral("/no-such-path")));
        QCOMPARE(notFound.status, 404);
        QCOMPARE(kitReadsProductId(notFound.body), std::nullopt);
        const Reply wrongMethod = m_http.send("POST", url(QStringLiteral("/product-id?bundleId=com.example.app")));
        QCOMPARE(wrongMethod.status, 405);
        QCOMPARE(kitReadsProductId(wrongMethod.body), std::nullopt);
    }

    void inboxFullFlow()
    {
        const Product p = addProduct(QStringLiteral("com.example.inbox"), false);
        const Reply item = addItem(p.id, "{\"item_name\":\"Checkout button does nothing \\/ iPhone\"}");
        QCOMPARE(item.status, 200);
        const QJsonValue id = json(item.body).value(QStringLiteral("id"));
        QVERIFY(id.isString());
        QVERIFY(!id.toString().isEmpty());

        const QByteArray png("\x89PNG\r\n\x1a\nIMAGEBYTES\r\n--not-a-boundary", 35);
        const Reply up = upload(p.id, png);
        QCOMPARE(up.status, 200);
        QCOMPARE(json(up.body).value(QStringLiteral("item_id")).toString(), id.toString());

        const QList<relay::Item> items = m_relay->items().newest(10);
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.first().name, QStringLiteral("Checkout button does nothing / iPhone"));
        QCOMPARE(items.first().files.size(), 1);
        QCOMPARE(items.first().files.first().fileName, QStringLiteral("testFile.png"));
        QCOMPARE(items.first().files.first().title, QStringLiteral("UploadImage"));

        const Headers bearer{{"Authorization", "Bearer " + m_relay->adminToken().toUtf8()}};
        const Reply page = m_http.get(url(QStringLiteral("/inbox")), bearer);
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("Checkout button does nothing / iPhone"));
        const QByteArray src = "/inbox/files/" + items.first().files.first().id.toLatin1();
        QVERIFY(page.body.contains("<img class=\"report-image\" src=\"" + src + "\""));
        const Reply file = m_http.get(url(QString::fromLatin1(src)), bearer);
        QCOMPARE(file.status, 200);
        QCOMPARE(file.body, png);
        QCOMPARE(file.header("Content-Type"), QByteArray("image/png"));
        QCOMPARE(m_http.get(url(QString::fromLatin1(src))).status, 401);
        QCOMPARE(m_http.get(url(QStringLiteral("/inbox"))).status, 401);

        // The listing for scripts names the same item and file.
        const Reply listing = m_http.get(url(QStringLiteral("/inbox/items")), bearer);
        QCOMPARE(listing.status, 200);
        const QJsonArray listed = json(listing.body).value(QStringLiteral("items")).toArray();
        QCOMPARE(listed.size(), 1);
        const QJsonObject entry = listed.first().toObject();
        QCOMPARE(entry.value(QStringLiteral("id")).toString(), id.toString());
        QCOMPARE(entry.value(QStringLiteral("bundleId")).toString(), QStringLiteral("com.example.inbox"));
        const QJsonObject listedFile = entry.value(QStringLiteral("files")).toArray().first().toObject();
        QCOMPARE(listedFile.value(QStringLiteral("url")).toString(), QString::fromLatin1(src));
        QCOMPARE(listedFile.value(QStringLiteral("size")).toInt(), png.size());
        QCOMPARE(m_http.get(url(QStringLiteral("/inbox/items"))).status, 401);
    }

    void inboxShowsVideosNewestFirstAndEscapes()
    {
        const Product p = addProduct(QStringLiteral("com.example.video"), false);
        QCOMPARE(addItem(p.id, "{\"item_name\":\"first <script>alert(1)</script>\"}").status, 200);
        QTest::qWait(5);
        QCOMPARE(addItem(p.id, "{\"item_name\":\"second\"}").status, 200);
        QCOMPARE(upload(p.id, "MOVIE", true, "video/mov", "upload.mov").status, 200);
        const Reply page = m_http.get(url(QStringLiteral("/inbox")),
                                      {{"Authorization", "Bearer " + m_relay->adminToken().toUtf8()}});
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.indexOf("second") < page.body.indexOf("first"));
        QVERIFY(!page.body.contains("<script>"));
        QVERIFY(page.body.contains("&lt;script&gt;"));
        QVERIFY(page.body.contains("<video class=\"report-video\" controls"));
        QVERIFY(page.header("Content-Security-Policy").contains("default-src 'none'"));
    }

    void inboxLoginSetsACookieNotTheToken()
    {
        const QString token = m_relay->adminToken();
        const Reply wrong = m_http.get(url(QStringLiteral("/inbox?token=wrong")));
        QCOMPARE(wrong.status, 401);
        // QNetworkAccessManager follows the redirect and keeps the cookie.
        QNetworkAccessManager nam;
        QNetworkRequest request{QUrl(url(QStringLiteral("/inbox?token=") + token))};
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        QNetworkReply *reply = nam.get(request);
        QTRY_VERIFY(reply->isFinished());
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 303);
        const QByteArray cookie = reply->rawHeader("Set-Cookie");
        QVERIFY(cookie.startsWith("tessivo_inbox="));
        QVERIFY(cookie.contains("HttpOnly"));
        QVERIFY(!cookie.contains(token.toUtf8()));
        const Reply page = m_http.get(url(QStringLiteral("/inbox")), {{"Cookie", cookie.split(';').first()}});
        QCOMPARE(page.status, 200);
        QVERIFY(!page.body.contains(token.toUtf8()));
        reply->deleteLater();
    }

    void mondayFullFlow()
    {
        const Product p = addProduct(QStringLiteral("com.example.monday"), true);
        const Reply item = addItem(p.id, "{\"item_name\":\"Crash on launch\"}");
        QCOMPARE(item.status, 200);
        QCOMPARE(json(item.body).value(QStringLiteral("id")).toString(), QStringLiteral("9000001"));
        QCOMPARE(m_monday->calls().size(), 1);
        const StandInMonday::Call create = m_monday->calls().first();
        QCOMPARE(create.path, QStringLiteral("/v2"));
        QCOMPARE(create.header("Authorization"), kMondayToken.toUtf8());
        QCOMPARE(create.header("Content-Type"), QByteArray("application/json"));
        const QJsonObject graphql = json(create.body);
        QVERIFY(graphql.value(QStringLiteral("query")).toString().contains(QStringLiteral("create_item")));
        const QJsonObject variables = graphql.value(QStringLiteral("variables")).toObject();
        QCOMPARE(variables.value(QStringLiteral("board")).toString(), QStringLiteral("1234567"));
        QCOMPARE(variables.value(QStringLiteral("group")).toString(), QStringLiteral("topics"));
        QCOMPARE(variables.value(QStringLiteral("name")).toString(), QStringLiteral("Crash on launch"));

        const Reply up = upload(p.id, "PNGDATA");
        QCOMPARE(up.status, 200);
        QCOMPARE(m_monday->calls().size(), 2);
        const StandInMonday::Call file = m_monday->calls().at(1);
        QCOMPARE(file.path, QStringLiteral("/v2/file"));
        QCOMPARE(file.header("Authorization"), kMondayToken.toUtf8());
        QVERIFY(file.header("Content-Type").startsWith("multipart/form-data; boundary="));
        QVERIFY(file.body.contains("Content-Disposition: form-data; name=\"query\"\r\n\r\n"
                                   "mutation ($file: File!) { add_file_to_column (item_id: 9000001, column_id: \"files\", file: $file) { id } }\r\n"));
        QVERIFY(file.body.contains("Content-Disposition: form-data; name=\"variables[file]\"; filename=\"testFile.png\"\r\n"
                                   "Content-Type: image/png\r\n\r\nPNGDATA\r\n"));
    }

    void mondayErrors_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("code");
        QTest::newRow("complexity budget") << int(StandInMonday::Mode::ComplexityBudgetExhausted)
                                           << QStringLiteral("COMPLEXITY_BUDGET_EXHAUSTED");
        QTest::newRow("expired token") << int(StandInMonday::Mode::ExpiredToken) << QStringLiteral("UserUnauthorizedException");
        QTest::newRow("not json") << int(StandInMonday::Mode::NotJson) << QStringLiteral("HTTP_502");
        QTest::newRow("time-out") << int(StandInMonday::Mode::Slow) << QStringLiteral("UPSTREAM_TIMEOUT");
    }
    void mondayErrors()
    {
        QFETCH(int, mode);
        QFETCH(QString, code);
        const Product p = addProduct(QStringLiteral("com.example.monday"), true);
        m_monday->setMode(StandInMonday::Mode(mode));
        m_monday->setDelayMs(4000); // beyond the relay's 2-second upstream time-out
        const Reply item = addItem(p.id, "{\"item_name\":\"x\"}");
        QCOMPARE(item.status, 502);
        const QJsonObject answer = json(item.body);
        QVERIFY(!answer.value(QStringLiteral("id")).isString()); // the kit reports an error
        QCOMPARE(answer.value(QStringLiteral("code")).toString(), code);
        QVERIFY(m_log->contains(QStringLiteral("monday: create_item failed for product ")));
        QVERIFY(m_log->contains(code));
        QCOMPARE(m_relay->items().count(), 0);
    }

    // monday hangs up without answering: the relay reports it and never
    // sends the mutation again, on a fresh or on a kept-alive connection.
    void mondayHangUpIsNotResent_data()
    {
        QTest::addColumn<bool>("file");
        QTest::newRow("create_item") << false;
        QTest::newRow("add_file_to_column, after an answered call") << true;
    }
    void mondayHangUpIsNotResent()
    {
        QFETCH(bool, file);
        tessivo::test::HangUpServer monday;
        RelayConfig config = baseConfig();
        config.mondayApiUrl = monday.baseUrl() + QStringLiteral("/v2");
        config.mondayFileUrl = monday.baseUrl() + QStringLiteral("/v2/file");
        m_relay.reset();
        QVERIFY(startRelay(config));
        const Product p = addProduct(QStringLiteral("com.example.monday"), true);
        if (file) {
            monday.answerNext(1, R"({"data":{"create_item":{"id":"42"}}})");
            QCOMPARE(addItem(p.id, "{\"item_name\":\"x\"}").status, 200);
            monday.clear();
        }
        const Reply r = file ? upload(p.id, "DATA") : addItem(p.id, "{\"item_name\":\"x\"}");
        QCOMPARE(r.status, 502);
        QCOMPARE(json(r.body).value(QStringLiteral("code")).toString(), QStringLiteral("UPSTREAM_UNREACHABLE"));
        QTest::qWait(300); // a resend would arrive by now
        QCOMPARE(monday.received().size(), 1);
    }

    void mondayFileErrorIsReported()
    {
        const Product p = addProduct(QStringLiteral("com.example.monday"), true);
        QCOMPARE(addItem(p.id, "{\"item_name\":\"x\"}").status, 200);
        m_monday->setMode(StandInMonday::Mode::ComplexityBudgetExhausted);
        const Reply up = upload(p.id, "DATA");
        QCOMPARE(up.status, 502);
        QVERIFY(m_log->contains(QStringLiteral("monday: add_file_to_column failed")));
    }

    void expiredLookupsDoNotPileUp()
    {
        // Every bundle id asked for, unknown ones from anyone included, used
        // to stay cached until the cache was full: the soak saw the relay's
        // memory creep with them.
        relay::ProductStore products(m_relay->database(), 50);
        for (int i = 0; i < 500; ++i)
            QVERIFY(!products.byBundleId(QStringLiteral("org.example.unknown%1").arg(i)));
        QTest::qWait(120);
        QVERIFY(!products.byBundleId(QStringLiteral("org.example.one.more")));
        QCOMPARE(products.cachedEntries(), 1);
    }

    void unknownProduct()
    {
        const Reply item = addItem(QStringLiteral("0123456789abcdef0123456789abcdef"), "{\"item_name\":\"x\"}");
        QCOMPARE(item.status, 404);
        QVERIFY(!json(item.body).value(QStringLiteral("id")).isString());
        QCOMPARE(addItem(QString(), "{\"item_name\":\"x\"}").status, 404);
        QCOMPARE(upload(QStringLiteral("0123456789abcdef0123456789abcdef"), "X").status, 404);
    }

    void uploadPairsWithTheLatestItemOfTheSameClientOnly()
    {
        const Product p = addProduct(QStringLiteral("com.example.pair"), false);
        // No item yet: nothing to attach to.
        QCOMPARE(upload(p.id, "X").status, 409);
        QCOMPARE(addItem(p.id, "{\"item_name\":\"older\"}").status, 200);
        QTest::qWait(5);
        const Reply newer = addItem(p.id, "{\"item_name\":\"newer\"}");
        const Reply up = upload(p.id, "X");
        QCOMPARE(up.status, 200);
        QCOMPARE(json(up.body).value(QStringLiteral("item_id")).toString(),
                 json(newer.body).value(QStringLiteral("id")).toString());
    }

    void uploadOutsideThePairingWindowIsRefused()
    {
        m_relay.reset();
        RelayConfig c = baseConfig();
        c.pairingWindowSeconds = 1;
        QVERIFY(startRelay(c));
        const Product p = addProduct(QStringLiteral("com.example.window"), false);
        QCOMPARE(addItem(p.id, "{\"item_name\":\"x\"}").status, 200);
        QTest::qWait(1300);
        QCOMPARE(upload(p.id, "X").status, 409);
    }

    void oversizeUploadIs413()
    {
        const Product p = addProduct(QStringLiteral("com.example.big"), false);
        QCOMPARE(addItem(p.id, "{\"item_name\":\"x\"}").status, 200);
        const Reply big = upload(p.id, QByteArray(300 * 1024, 'x'));
        QCOMPARE(big.status, 413);
        QCOMPARE(json(big.body).value(QStringLiteral("status")).toInt(), 413);
        QVERIFY(json(big.body).value(QStringLiteral("error")).isString());
        // The head alone decides: a client announcing 10 MB is answered at once.
        const QByteArray answer = rawExchange(m_relay->port(),
                                              {"POST /monday/upload-file HTTP/1.1\r\nHost: x\r\n"
                                               "Content-Type: multipart/form-data; boundary=B\r\n"
                                               "Content-Length: 10485760\r\n\r\n"},
                                              0, 3000);
        QCOMPARE(rawStatus(answer), 413);
        QVERIFY(m_log->contains(QStringLiteral("POST /monday/upload-file 413")));
        // Within the limit still works.
        QCOMPARE(upload(p.id, QByteArray(200 * 1024, 'y')).status, 200);
        verifyHealthy();
    }

    void burstIs429()
    {
        m_relay.reset();
        RelayConfig c = baseConfig();
        c.productRatePerMinute = 1;
        c.productBurst = 3;
        c.clientRatePerMinute = 1;
        c.clientBurst = 5;
        QVERIFY(startRelay(c));
        const Product p = addProduct(QStringLiteral("com.example.burst"), false);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(addItem(p.id, "{\"item_name\":\"x\"}").status, 200);
        const Reply limited = addItem(p.id, "{\"item_name\":\"x\"}");
        QCOMPARE(limited.status, 429);
        QVERIFY(limited.header("Retry-After").toInt() >= 1);
        QVERIFY(!json(limited.body).value(QStringLiteral("id")).isString());
        // The client's own bucket: 5 requests in all, then 429 everywhere.
        QCOMPARE(m_http.get(url(QStringLiteral("/product-id?bundleId=com.example.burst"))).status, 200);
        const Reply lookup = m_http.get(url(QStringLiteral("/product-id?bundleId=com.example.burst")));
        QCOMPARE(lookup.status, 429);
        QCOMPARE(kitReadsProductId(lookup.body), std::nullopt);
    }

    void restartKeepsData()
    {
        const Product p = addProduct(QStringLiteral("com.example.keep"), false);
        const QString adminToken = m_relay->adminToken();
        QCOMPARE(addItem(p.id, "{\"item_name\":\"kept\"}").status, 200);
        QCOMPARE(upload(p.id, "KEPT").status, 200);
        m_relay.reset();
        QVERIFY(startRelay(baseConfig()));
        QCOMPARE(m_relay->adminToken(), adminToken);
        QCOMPARE(m_relay->database().schemaVersion(), 1);
        const Reply r = m_http.get(url(QStringLiteral("/product-id?bundleId=com.example.keep")));
        QCOMPARE(kitReadsProductId(r.body), std::optional<QString>(p.id));
        const Reply page = m_http.get(url(QStringLiteral("/inbox")), {{"Authorization", "Bearer " + adminToken.toUtf8()}});
        QVERIFY(page.body.contains("kept"));
        const auto items = m_relay->items().newest(10);
        QCOMPARE(items.size(), 1);
        QCOMPARE(items.first().files.size(), 1);
    }

    void badJson_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("malformed") << QByteArray("{\"item_name\": ");
        QTest::newRow("not an object") << QByteArray("[\"item_name\"]");
        QTest::newRow("missing item_name") << QByteArray("{\"name\":\"x\"}");
        QTest::newRow("number item_name") << QByteArray("{\"item_name\":12}");
        QTest::newRow("null item_name") << QByteArray("{\"item_name\":null}");
        QTest::newRow("empty item_name") << QByteArray("{\"item_name\":\"  \"}");
        QTest::newRow("not utf-8") << QByteArray("{\"item_name\":\"\xff\xfe\"}");
        QTest::newRow("too long") << QByteArray("{\"item_name\":\"" + QByteArray(301, 'a') + "\"}");
        QTest::newRow("empty body") << QByteArray();
    }
    void badJson()
    {
        QFETCH(QByteArray, body);
        const Product p = addProduct(QStringLiteral("com.example.bad"), false);
        const Reply r = addItem(p.id, body);
        QCOMPARE(r.status, 400);
        const QJsonObject answer = json(r.body);
        QVERIFY(answer.value(QStringLiteral("error")).isString());
        QVERIFY(!answer.value(QStringLiteral("id")).isString());
        QCOMPARE(m_relay->items().count(), 0);
        verifyHealthy();
    }

    void badMultipart_data()
    {
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QByteArray>("body");
        const QByteArray good = kitUploadBody("B", "PID", "UploadImage", "f.png", "image/png", "X");
        QTest::newRow("no boundary") << QByteArray("multipart/form-data") << good;
        QTest::newRow("not multipart") << QByteArray("application/json") << QByteArray("{}");
        QTest::newRow("truncated") << QByteArray("multipart/form-data; boundary=B") << good.left(good.size() - 20);
        QTest::newRow("truncated headers") << QByteArray("multipart/form-data; boundary=B")
                                           << QByteArray("--B\r\nContent-Disposition: form-data; name=\"productId\"");
        QTest::newRow("missing file") << QByteArray("multipart/form-data; boundary=B")
                                      << QByteArray("--B\r\nContent-Disposition: form-data; name=\"productId\"\r\n\r\nPID\r\n--B--\r\n");
        QTest::newRow("non-utf-8 file name") << QByteArray("multipart/form-data; boundary=B")
                                             << kitUploadBody("B", "PID", "UploadImage", "\xff\xfe.png", "image/png", "X");
        QTest::newRow("part without name") << QByteArray("multipart/form-data; boundary=B")
                                           << QByteArray("--B\r\nContent-Type: text/plain\r\n\r\nx\r\n--B--\r\n");
        QTest::newRow("empty") << QByteArray("multipart/form-data; boundary=B") << QByteArray();
    }
    void badMultipart()
    {
        QFETCH(QByteArray, contentType);
        QFETCH(QByteArray, body);
        const Product p = addProduct(QStringLiteral("com.example.bad"), false);
        QCOMPARE(addItem(p.id, "{\"item_name\":\"x\"}").status, 200);
        body.replace("PID", p.id.toUtf8());
        const Reply r = m_http.send("POST", url(QStringLiteral("/monday/upload-file")), body, {{"Content-Type", contentType}});
        QCOMPARE(r.status, 400);
        QVERIFY(json(r.body).value(QStringLiteral("error")).isString());
        QCOMPARE(m_relay->items().newest(1).first().files.size(), 0);
        verifyHealthy();
    }

    void hugeHeadersAre431()
    {
        const QByteArray answer = rawExchange(m_relay->port(),
                                              {"GET /healthz HTTP/1.1\r\nHost: x\r\nX-Big: " + QByteArray(40 * 1024, 'a')
                                               + "\r\n\r\n"});
        QCOMPARE(rawStatus(answer), 431);
        QVERIFY(json(rawBody(answer)).value(QStringLiteral("error")).isString());
        verifyHealthy();
    }

    void chunkedBodiesAre411()
    {
        const QByteArray answer = rawExchange(m_relay->port(),
                                              {"POST /monday/add-item?productId=x HTTP/1.1\r\nHost: x\r\n"
                                               "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n"});
        QCOMPARE(rawStatus(answer), 411);
        verifyHealthy();
    }

    void slowClientIs408()
    {
        m_relay.reset();
        RelayConfig c = baseConfig();
        c.requestTimeoutMs = 400;
        QVERIFY(startRelay(c));
        // Half a head, then silence.
        const QByteArray answer = rawExchange(m_relay->port(), {"POST /monday/add-item?productId=x HTTP/1.1\r\nHo"}, 0, 3000);
        QCOMPARE(rawStatus(answer), 408);
        // A body that trickles in slower than the limit allows.
        const QByteArray trickle = rawExchange(m_relay->port(),
                                               {"POST /monday/add-item?productId=x HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\n{",
                                                "\"", "i", "t"},
                                               200, 3000);
        QCOMPARE(rawStatus(trickle), 408);
        verifyHealthy();
    }

    void keepAliveConnectionServesSeveralRequests()
    {
        addProduct(QStringLiteral("com.example.ka"), false);
        const QByteArray request = "GET /product-id?bundleId=com.example.ka HTTP/1.1\r\nHost: x\r\n\r\n";
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_relay->port());
        QVERIFY(socket.waitForConnected(2000));
        QByteArray received;
        for (int i = 0; i < 3; ++i) {
            socket.write(request);
            QTRY_VERIFY(received.append(socket.readAll()).count("HTTP/1.1 200") == i + 1);
        }
    }

    void clientLeavingDuringAnUpstreamCallDoesNotHurt()
    {
        const Product p = addProduct(QStringLiteral("com.example.leave"), true);
        m_monday->setMode(StandInMonday::Mode::Slow);
        m_monday->setDelayMs(500);
        const QByteArray body = "{\"item_name\":\"x\"}";
        // The client sends the request and hangs up at once.
        {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, m_relay->port());
            QVERIFY(socket.waitForConnected(2000));
            socket.write("POST /monday/add-item?productId=" + p.id.toUtf8() + " HTTP/1.1\r\nHost: x\r\nContent-Length: "
                         + QByteArray::number(body.size()) + "\r\n\r\n" + body);
            QVERIFY(socket.waitForBytesWritten(2000));
            QTRY_COMPARE(m_monday->calls().size(), 1);
            socket.abort();
        }
        QTRY_COMPARE_WITH_TIMEOUT(m_relay->inFlight(), 0, 5000);
        verifyHealthy();
        QTest::qWait(50);
        QVERIFY(m_log->contains(QStringLiteral("POST /monday/add-item 200")));
    }

    void gracefulStopFinishesRequestsInFlight()
    {
        const Product p = addProduct(QStringLiteral("com.example.stop"), true);
        m_monday->setMode(StandInMonday::Mode::Slow);
        m_monday->setDelayMs(400);
        QNetworkAccessManager nam;
        QNetworkRequest request{QUrl(url(QStringLiteral("/monday/add-item?productId=") + p.id))};
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        QNetworkReply *reply = nam.post(request, QByteArray("{\"item_name\":\"in flight\"}"));
        QTRY_COMPARE(m_monday->calls().size(), 1);
        QSignalSpy stopped(m_relay.get(), &RelayServer::stopped);
        const quint16 port = m_relay->port();
        m_relay->stop();
        QCOMPARE(m_relay->inFlight(), 1);
        // No new connections while stopping.
        QTcpSocket late;
        late.connectToHost(QHostAddress::LocalHost, port);
        QVERIFY(!late.waitForConnected(500) || !late.waitForReadyRead(200));
        QTRY_VERIFY(reply->isFinished());
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
        QCOMPARE(json(reply->readAll()).value(QStringLiteral("id")).toString(), QStringLiteral("9000001"));
        QTRY_COMPARE(stopped.size(), 1);
        reply->deleteLater();
    }

    void oneLogLinePerRequestWithoutQueries()
    {
        addProduct(QStringLiteral("com.example.log"), false);
        // Raw requests: an HTTP client library may resend a request on its
        // own (Qt's does, now and then, around redirects).
        const QByteArray lookup = rawExchange(m_relay->port(),
                                              {"GET /product-id?bundleId=com.example.log HTTP/1.1\r\nHost: x\r\n\r\n"
                                               "GET /inbox?token=" + m_relay->adminToken().toUtf8()
                                                   + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"},
                                              0, 1500);
        QCOMPARE(lookup.count("HTTP/1.1 "), 2);
        QStringList requests;
        for (const QString &line : m_log->lines()) {
            if (line.startsWith(QLatin1String("GET ")))
                requests << line;
        }
        QVERIFY2(requests.size() == 2, qPrintable(requests.join(QLatin1String(" | "))));
        QVERIFY(QRegularExpression(QStringLiteral("^GET /product-id 200 \\d+\\.\\d\\d ms$")).match(requests[0]).hasMatch());
        QVERIFY(QRegularExpression(QStringLiteral("^GET /inbox 303 \\d+\\.\\d\\d ms$")).match(requests[1]).hasMatch());
        for (const QString &line : m_log->lines())
            QVERIFY2(!line.contains(QLatin1String("com.example.log")) && !line.contains(QLatin1Char('?')), qPrintable(line));
    }
};

QTEST_GUILESS_MAIN(TestRelay)
#include "tst_relay.moc"
