// The Trello client against a stand-in Trello on 127.0.0.1.
#include "LocalHttpServer.h"
#include "ResultBox.h"
#include "TestSupport.h"

#include "core/Configs.h"
#include "sharing/TrelloManager.h"

#include <QRegularExpression>
#include <QTcpServer>
#include <QtTest>

using namespace tessivo;
using namespace tessivo::test;

namespace {

const QString kKey = QStringLiteral("KEYSECRET0123456789");
const QString kToken = QStringLiteral("TOKENSECRET9876543210");

std::shared_ptr<const Configs> trelloConfigs(const QString &idList = QStringLiteral("LIST1"))
{
    auto configs = std::make_shared<TrelloConfigs>(idList, kKey, kToken);
    configs->setShareMethod(ShareMethod::trello);
    return configs;
}

class ShareSheetConfigs final : public Configs
{
public:
    ShareMethod shareMethod() const override { return ShareMethod::shareSheet; }
};

const QRegularExpression kUuid(QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));

} // namespace

class TestTrelloManager : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<LocalHttpServer> m_server;
    std::unique_ptr<ConsoleCapture> m_console;

    void useServer(LocalHttpServer::Handler handler)
    {
        m_server = std::make_unique<LocalHttpServer>(std::move(handler));
        qputenv(TrelloManager::kApiUrlEnvironment, m_server->baseUrl().toUtf8());
    }

    void verifyNoSecretsLogged()
    {
        for (const QString &line : m_console->lines()) {
            QVERIFY2(!line.contains(kKey), qPrintable(line));
            QVERIFY2(!line.contains(kToken), qPrintable(line));
        }
    }

private Q_SLOTS:
    void init() { m_console = std::make_unique<ConsoleCapture>(); }
    void cleanup()
    {
        verifyNoSecretsLogged();
        m_console.reset();
        m_server.reset();
        qunsetenv(TrelloManager::kApiUrlEnvironment);
    }

    void defaultBaseIsThePublicEndpoint()
    {
        qunsetenv(TrelloManager::kApiUrlEnvironment);
        QCOMPARE(TrelloManager::apiBaseUrl(), QStringLiteral("https://api.trello.com"));
        qputenv(TrelloManager::kApiUrlEnvironment, "http://proxy.example/trello/1/");
        QCOMPARE(TrelloManager::apiBaseUrl(), QStringLiteral("http://proxy.example/trello"));
    }

    void cardRequestIsByteExact()
    {
        useServer([](const HttpRequest &) { return HttpResponse{200, "{\"id\":\"5f1a\",\"name\":\"x\"}"}; });
        ResultBox<std::optional<QString>> result;
        TrelloManager::createCard(QStringLiteral("Bug: a/b \"q\" é\n"), QStringLiteral("desc\ttext"),
                                  trelloConfigs(), [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::optional<QString>(QStringLiteral("5f1a")));
        QVERIFY(!result.onMainThread());

        QCOMPARE(m_server->requests().size(), 1);
        const HttpRequest r = m_server->requests().first();
        QCOMPARE(r.method, QByteArray("POST"));
        QCOMPARE(r.target, QByteArray("/1/cards?idList=LIST1&key=") + kKey.toUtf8() + "&token=" + kToken.toUtf8());
        QCOMPARE(r.headers.value("content-type"), QByteArray("application/json"));
        QCOMPARE(r.body, QByteArray("{\"name\":\"Bug: a\\/b \\\"q\\\" \xc3\xa9\\n\",\"desc\":\"desc\\ttext\"}"));
        QCOMPARE(r.headers.value("content-length"), QByteArray::number(r.body.size()));
        QVERIFY(m_console->lines().contains(QStringLiteral("5f1a")));
    }

    void answers_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("number id") << 200 << QByteArray("{\"id\":12}") << QStringList();
        QTest::newRow("plain-text 401") << 401 << QByteArray("invalid token") << QStringList{QStringLiteral("invalid token")};
        QTest::newRow("json array") << 200 << QByteArray("[\"a\"]") << QStringList{QStringLiteral("[\"a\"]")};
        QTest::newRow("not utf-8") << 500 << QByteArray("\xff\xfe\xfd") << QStringList{QStringLiteral("Can't decode not JSON nor Text")};
    }
    void answers()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QStringList, lines);
        useServer([=](const HttpRequest &) { return HttpResponse{status, body, "text/plain"}; });
        ResultBox<std::optional<QString>> result;
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), trelloConfigs(),
                                  [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::nullopt);
        QCOMPARE(m_console->lines(), lines);
    }

    void anAnswerEchoingTheCredentialsIsScrubbed()
    {
        useServer([](const HttpRequest &r) { return HttpResponse{400, "bad request " + r.target, "text/plain"}; });
        ResultBox<std::optional<QString>> result;
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), trelloConfigs(),
                                  [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(m_console->lines().size(), 1);
        QVERIFY(m_console->lines().first().startsWith(QStringLiteral("bad request /1/cards?idList=LIST1&key=")));
        // cleanup() checks that neither key nor token was printed.
    }

    void onlyWholeCredentialsAreRedacted_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("token");
        QTest::newRow("one character") << "c" << "c";
        QTest::newRow("one character each") << "c" << "o";
        QTest::newRow("realistic") << "3f9c2a7be41d05c8a6b9e0f1d2c3b4a5"
                                   << "ATTA9d8e7f6a5b4c3d2e1f0a9b8c7d6e5f4a3b2c1d0e9f8a7b6c5d4e3f2a1b0c9d8e7f6";
    }
    void onlyWholeCredentialsAreRedacted()
    {
        QFETCH(QString, key);
        QFETCH(QString, token);
        auto configs = std::make_shared<TrelloConfigs>(QStringLiteral("LIST1"), key, token);
        // The answer names the token on its own and echoes the request,
        // as sent and percent-encoded.
        useServer([&](const HttpRequest &r) {
            return HttpResponse{401, "invalid token " + token.toUtf8() + " for " + r.target + " "
                                         + QUrl::toPercentEncoding(QString::fromUtf8(r.target)),
                                "text/plain"};
        });
        ResultBox<bool> card;
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), configs,
                                  [&](std::optional<QString>) { card.set(true); });
        QTRY_VERIFY(card.called());
        ResultBox<bool> upload;
        TrelloManager::uploadAttachment(QStringLiteral("CARD1"), "X", QStringLiteral("f.png"), configs,
                                        [&](std::optional<UrlError>) { upload.set(true); });
        QTRY_VERIFY(upload.called());

        m_server.reset(); // nothing listens there any more
        ResultBox<bool> failedCard;
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), configs,
                                  [&](std::optional<QString>) { failedCard.set(true); });
        QTRY_VERIFY(failedCard.called());
        ResultBox<bool> failedUpload;
        TrelloManager::uploadAttachment(QStringLiteral("CARD1"), "X", QStringLiteral("f.png"), configs,
                                        [&](std::optional<UrlError>) { failedUpload.set(true); });
        QTRY_VERIFY(failedUpload.called());

        const QString r = QStringLiteral("<redacted>");
        QCOMPARE(m_console->lines(), (QStringList{
            "invalid token " + r + " for /1/cards?idList=LIST1&key=" + r + "&token=" + r
                + " %2F1%2Fcards%3FidList%3DLIST1%26key%3D" + r + "%26token%3D" + r,
            "Uploaded to: invalid token " + r + " for /1/cards/CARD1/attachments?key=" + r + "&token=" + r
                + " %2F1%2Fcards%2FCARD1%2Fattachments%3Fkey%3D" + r + "%26token%3D" + r,
            "Create trello card error:Error Domain=URLErrorDomain Code=-1004 \"Could not connect to the server.\"",
            "Could not connect to the server.",
        }));
    }

    void transportErrorIsLoggedWithoutSecrets()
    {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost, 0));
        const quint16 port = closed.serverPort();
        closed.close();
        qputenv(TrelloManager::kApiUrlEnvironment, QByteArray("http://127.0.0.1:") + QByteArray::number(port));
        ResultBox<std::optional<QString>> result;
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), trelloConfigs(),
                                  [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::nullopt);
        QCOMPARE(m_console->lines(),
                 QStringList{QStringLiteral("Create trello card error:Error Domain=URLErrorDomain Code=-1004 \"Could not connect to the server.\"")});

        ResultBox<std::optional<UrlError>> upload;
        TrelloManager::uploadAttachment(QStringLiteral("c1"), "X", QStringLiteral("f.png"), trelloConfigs(),
                                        [&](std::optional<UrlError> e) { upload.set(e); });
        QTRY_VERIFY(upload.called());
        QVERIFY(upload.value().has_value());
        QCOMPARE(upload.value()->code, -1004);
        QCOMPARE(m_console->lines().last(), QStringLiteral("Could not connect to the server."));
    }

    void foreignConfigsDoNothing()
    {
        useServer([](const HttpRequest &) { return HttpResponse{200, "{\"id\":\"x\"}"}; });
        ResultBox<bool> card;
        ResultBox<bool> upload;
        const auto foreign = std::make_shared<ShareSheetConfigs>();
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), foreign,
                                  [&](std::optional<QString>) { card.set(true); });
        TrelloManager::uploadAttachment(QStringLiteral("c"), "X", QStringLiteral("f.png"), foreign,
                                        [&](std::optional<UrlError>) { upload.set(true); });
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), nullptr,
                                  [&](std::optional<QString>) { card.set(true); });
        TrelloManager::uploadAttachment(QStringLiteral("c"), "X", QStringLiteral("f.png"), nullptr,
                                        [&](std::optional<UrlError>) { upload.set(true); });
        settle(400);
        QVERIFY(!card.called());
        QVERIFY(!upload.called());
        QVERIFY(m_server->requests().isEmpty());
    }

    void idListWithASpaceSendsNothing()
    {
        useServer([](const HttpRequest &) { return HttpResponse{200, "{\"id\":\"x\"}"}; });
        ResultBox<bool> card;
        TrelloManager::createCard(QStringLiteral("n"), QStringLiteral("d"), trelloConfigs(QStringLiteral("my list")),
                                  [&](std::optional<QString>) { card.set(true); });
        ResultBox<bool> upload;
        TrelloManager::uploadAttachment(QStringLiteral("card id"), "X", QStringLiteral("f.png"), trelloConfigs(),
                                        [&](std::optional<UrlError>) { upload.set(true); });
        settle(400);
        QVERIFY(!card.called());
        QVERIFY(!upload.called());
        QVERIFY(m_server->requests().isEmpty());
        QVERIFY(m_console->lines().isEmpty());
    }

    void attachmentBodyForBoundaryB()
    {
        const QByteArray expected =
            "\r\n--B\r\n"
            "Content-Disposition: form-data; name=\"reqtype\"\r\n\r\n"
            "\r\n--B\r\n"
            "Content-Disposition: form-data; name=\"file\"; filename=\"f.png\"\r\n"
            "Content-Type: image/png\r\n\r\n"
            "X"
            "\r\n--B--\r\n";
        QCOMPARE(TrelloManager::attachmentBody(QStringLiteral("B"), QStringLiteral("f.png"), "X"), expected);
    }

    void uploadIsByteExactWithAFreshBoundary()
    {
        useServer([](const HttpRequest &) { return HttpResponse{200, "{\"id\":\"att1\",\"url\":\"https://trello/att1\"}"}; });
        const QByteArray image("\x89PNG\r\n\x1a\n\0\x01\xff", 11);
        ResultBox<std::optional<UrlError>> first;
        TrelloManager::uploadAttachment(QStringLiteral("CARD9"), image, QStringLiteral("f.png"), trelloConfigs(),
                                        [&](std::optional<UrlError> e) { first.set(e); });
        QTRY_VERIFY(first.called());
        QCOMPARE(first.value().has_value(), false);
        QVERIFY(!first.onMainThread());
        ResultBox<std::optional<UrlError>> second;
        TrelloManager::uploadAttachment(QStringLiteral("CARD9"), image, QStringLiteral("f.png"), trelloConfigs(),
                                        [&](std::optional<UrlError> e) { second.set(e); });
        QTRY_VERIFY(second.called());

        QCOMPARE(m_server->requests().size(), 2);
        QStringList boundaries;
        for (const HttpRequest &r : m_server->requests()) {
            QCOMPARE(r.method, QByteArray("POST"));
            QCOMPARE(r.target, QByteArray("/1/cards/CARD9/attachments?key=") + kKey.toUtf8() + "&token=" + kToken.toUtf8());
            const QByteArray contentType = r.headers.value("content-type");
            QVERIFY2(contentType.startsWith("multipart/form-data; boundary="), contentType.constData());
            const QString boundary = QString::fromLatin1(contentType.mid(int(strlen("multipart/form-data; boundary="))));
            QVERIFY2(kUuid.match(boundary).hasMatch(), qPrintable(boundary));
            QCOMPARE(r.body, TrelloManager::attachmentBody(boundary, QStringLiteral("f.png"), image));
            boundaries.append(boundary);
        }
        QVERIFY(boundaries[0] != boundaries[1]);
        QCOMPARE(m_console->lines().first(),
                 QStringLiteral("Uploaded to: {\"id\":\"att1\",\"url\":\"https://trello/att1\"}"));
    }
};

QTEST_MAIN(TestTrelloManager)
#include "tst_trellomanager.moc"
