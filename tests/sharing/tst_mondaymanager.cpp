// The monday relay client against a stand-in relay on 127.0.0.1.
#include "LocalHttpServer.h"
#include "ResultBox.h"
#include "TestSupport.h"

#include "core/TessivoKit.h"
#include "sharing/MondayManager.h"

#include <QRegularExpression>
#include <QtTest>

using namespace tessivo;
using namespace tessivo::test;

namespace {

const QRegularExpression kUuid(QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));

QByteArray part(const QByteArray &boundary, const QByteArray &name, const QByteArray &value)
{
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value + "\r\n";
}

QByteArray filePart(const QByteArray &boundary, const QByteArray &fileName, const QByteArray &mime,
                    const QByteArray &data)
{
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + fileName
        + "\"\r\nContent-Type: " + mime + "\r\n\r\n" + data + "\r\n--" + boundary + "--\r\n";
}

/// The body with its two parameter parts in either order.
bool isUploadBody(const QByteArray &body, const QByteArray &boundary, const QByteArray &productId,
                  const QByteArray &title, const QByteArray &fileName, const QByteArray &mime,
                  const QByteArray &data)
{
    const QByteArray p = part(boundary, "productId", productId);
    const QByteArray t = part(boundary, "title", title);
    const QByteArray f = filePart(boundary, fileName, mime, data);
    return body == p + t + f || body == t + p + f;
}

} // namespace

class TestMondayManager : public QObject
{
    Q_OBJECT

private:
    LocalHttpServer *m_server = nullptr;
    std::unique_ptr<ConsoleCapture> m_console;

    void answer(HttpResponse response)
    {
        m_server->setHandler([response](const HttpRequest &) { return response; });
    }

private Q_SLOTS:
    void initTestCase()
    {
        // The endpoints are derived once, on first use: the stand-in relay
        // lives for the whole run.
        m_server = new LocalHttpServer({}, this);
        qputenv(MondayManager::kRelayUrlEnvironment, (m_server->baseUrl() + QStringLiteral("/")).toUtf8());
        QCOMPARE(MondayManager::endpoints().productId, m_server->baseUrl() + QStringLiteral("/product-id"));
        QCOMPARE(MondayManager::endpoints().addItem, m_server->baseUrl() + QStringLiteral("/monday/add-item?productId="));
        QCOMPARE(MondayManager::endpoints().uploadFile, m_server->baseUrl() + QStringLiteral("/monday/upload-file"));
    }

    void init()
    {
        m_console = std::make_unique<ConsoleCapture>();
        TessivoKit::shared().setProductId(std::nullopt);
    }
    void cleanup() { m_console.reset(); }

    void productIdLookup()
    {
        answer({200, "{\"product\":\"abc\"}"});
        const int before = m_server->requests().size();
        ResultBox<std::optional<QString>> result;
        MondayManager::fetchProductId(QStringLiteral("com.example.host app"),
                                      [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::optional<QString>(QStringLiteral("abc")));
        QVERIFY(!result.onMainThread());
        const HttpRequest r = m_server->requests().at(before);
        QCOMPARE(r.method, QByteArray("GET"));
        QCOMPARE(r.target, QByteArray("/product-id?bundleId=com.example.host%20app"));
        QVERIFY(!r.headers.contains("content-type"));
    }

    void productIdLookupNothing_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty object") << QByteArray("{}");
        QTest::newRow("number member") << QByteArray("{\"product\":12}");
        QTest::newRow("array") << QByteArray("[\"abc\"]");
        QTest::newRow("text") << QByteArray("not found");
        QTest::newRow("empty body") << QByteArray();
    }
    void productIdLookupNothing()
    {
        QFETCH(QByteArray, body);
        answer({200, body});
        ResultBox<std::optional<QString>> result;
        MondayManager::fetchProductId(QStringLiteral("com.example.host"),
                                      [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::nullopt);
    }

    void addItemBeforeProductIdDoesNothing()
    {
        answer({200, "{\"id\":\"1\"}"});
        const int before = m_server->requests().size();
        ResultBox<bool> result;
        MondayManager::addItem(QStringLiteral("item"), [&](std::optional<QString>) { result.set(true); });
        MondayManager::uploadImage("X");
        MondayManager::uploadVideo("X");
        settle(400);
        QVERIFY(!result.called());
        QCOMPARE(m_server->requests().size(), before);
        QVERIFY(m_console->lines().isEmpty());
    }

    void addItemRequestAndTextIdWithoutLogLine()
    {
        TessivoKit::shared().setProductId(QStringLiteral("P1"));
        answer({200, "{\"id\":\"123\"}"});
        const int before = m_server->requests().size();
        ResultBox<std::optional<QString>> result;
        MondayManager::addItem(QStringLiteral("Crash / \"quote\""), [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::optional<QString>(QStringLiteral("123")));
        QVERIFY(!result.onMainThread());
        QVERIFY(m_console->lines().isEmpty());
        const HttpRequest r = m_server->requests().at(before);
        QCOMPARE(r.method, QByteArray("POST"));
        QCOMPARE(r.target, QByteArray("/monday/add-item?productId=P1"));
        QCOMPARE(r.headers.value("content-type"), QByteArray("application/json"));
        QCOMPARE(r.body, QByteArray("{\"item_name\":\"Crash \\/ \\\"quote\\\"\"}"));
    }

    void addItemAnswers_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("number id") << QByteArray("{\"id\":123}") << QStringList();
        QTest::newRow("error object") << QByteArray("{\"error\":\"monday failed\"}") << QStringList();
        QTest::newRow("plain text") << QByteArray("Bad Gateway") << QStringList{QStringLiteral("Bad Gateway")};
        QTest::newRow("not utf-8") << QByteArray("\xc3\x28", 2) << QStringList{QStringLiteral("Can't decode not JSON nor Text")};
    }
    void addItemAnswers()
    {
        QFETCH(QByteArray, body);
        QFETCH(QStringList, lines);
        TessivoKit::shared().setProductId(QStringLiteral("P1"));
        answer({502, body, "text/plain"});
        ResultBox<std::optional<QString>> result;
        MondayManager::addItem(QStringLiteral("x"), [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::nullopt);
        QCOMPARE(m_console->lines(), lines);
    }

    void invalidAddItemUrlSendsNothing()
    {
        TessivoKit::shared().setProductId(QStringLiteral("P 1"));
        const int before = m_server->requests().size();
        ResultBox<bool> result;
        MondayManager::addItem(QStringLiteral("x"), [&](std::optional<QString>) { result.set(true); });
        settle(300);
        QVERIFY(!result.called());
        QCOMPARE(m_server->requests().size(), before);
    }

    void createBodyForBoundaryB()
    {
        const QHash<QString, QString> parameters{{QStringLiteral("productId"), QStringLiteral("P")},
                                                 {QStringLiteral("title"), QStringLiteral("UploadImage")}};
        const QByteArray body = MondayManager::createBody(parameters, QStringLiteral("B"), "X",
                                                          QStringLiteral("image/png"), QStringLiteral("file"),
                                                          QStringLiteral("testFile.png"));
        QVERIFY(isUploadBody(body, "B", "P", "UploadImage", "testFile.png", "image/png", "X"));
        QVERIFY(body.endsWith("Content-Type: image/png\r\n\r\nX\r\n--B--\r\n"));
        QVERIFY(!body.startsWith("\r\n"));
    }

    void createBodyThrowsOnTextWithoutUtf8Form()
    {
        QString broken = QStringLiteral("a");
        broken.append(QChar(0xD800));
        QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                                 MondayManager::createBody({}, QStringLiteral("B"), "X", broken,
                                                           QStringLiteral("file"), QStringLiteral("f")));
    }

    void uploads_data()
    {
        QTest::addColumn<bool>("video");
        QTest::addColumn<QByteArray>("title");
        QTest::addColumn<QByteArray>("fileName");
        QTest::addColumn<QByteArray>("mime");
        QTest::newRow("image") << false << QByteArray("UploadImage") << QByteArray("testFile.png") << QByteArray("image/png");
        QTest::newRow("video") << true << QByteArray("UploadVideo") << QByteArray("upload.mov") << QByteArray("video/mov");
    }
    void uploads()
    {
        QFETCH(bool, video);
        QFETCH(QByteArray, title);
        QFETCH(QByteArray, fileName);
        QFETCH(QByteArray, mime);
        TessivoKit::shared().setProductId(QStringLiteral("PX9"));
        answer({200, "{\"ok\":true}"});
        const int before = m_server->requests().size();
        const QByteArray data("\0\x01\x02\r\n--binary", 13);
        for (int i = 0; i < 2; ++i) {
            if (video)
                MondayManager::uploadVideo(data);
            else
                MondayManager::uploadImage(data);
        }
        QTRY_COMPARE(m_console->lines().size(), 2);
        QTRY_COMPARE(m_server->requests().size(), before + 2);
        QStringList boundaries;
        for (int i = before; i < before + 2; ++i) {
            const HttpRequest r = m_server->requests().at(i);
            QCOMPARE(r.method, QByteArray("POST"));
            QCOMPARE(r.target, QByteArray("/monday/upload-file"));
            const QByteArray contentType = r.headers.value("content-type");
            QVERIFY2(contentType.startsWith("multipart/form-data; boundary ="), contentType.constData());
            const QByteArray boundary = contentType.mid(int(strlen("multipart/form-data; boundary =")));
            QVERIFY(kUuid.match(QString::fromLatin1(boundary)).hasMatch());
            QVERIFY(isUploadBody(r.body, boundary, "PX9", title, fileName, mime, data));
            boundaries << QString::fromLatin1(boundary);
        }
        QVERIFY(boundaries[0] != boundaries[1]);
        const QString line = QStringLiteral("Optional(11 bytes) Optional(<HTTPURLResponse URL: %1/monday/upload-file status: 200>) nil")
                                 .arg(m_server->baseUrl());
        QCOMPARE(m_console->lines(), (QStringList{line, line}));
    }
};

QTEST_MAIN(TestMondayManager)
#include "tst_mondaymanager.moc"
