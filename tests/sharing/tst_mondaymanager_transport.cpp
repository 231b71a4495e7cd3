// The monday relay client when the relay fails at the transport
// level (a connection closed without an answer, an answer that never comes).
#include "ResultBox.h"
#include "TestSupport.h"

#include "core/TessivoKit.h"
#include "sharing/MondayManager.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

using namespace tessivo;
using namespace tessivo::test;

class TestMondayTransport : public QObject
{
    Q_OBJECT

private:
    QTcpServer m_server;
    bool m_hold = false; // keep connections open without answering
    QList<QTcpSocket *> m_held;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_server.listen(QHostAddress::LocalHost, 0));
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *s = m_server.nextPendingConnection()) {
                if (m_hold) {
                    m_held.append(s);
                } else {
                    connect(s, &QTcpSocket::readyRead, s, [s] { s->abort(); s->deleteLater(); });
                }
            }
        });
        qputenv(MondayManager::kRelayUrlEnvironment,
                QByteArray("http://127.0.0.1:") + QByteArray::number(m_server.serverPort()));
        // Making the kit makes its capture folder, which is said on the
        // console when the folder is new; the tests look only at the client.
        TessivoKit::shared();
    }

    void lookupTransportErrorNeverCallsBack()
    {
        ConsoleCapture console;
        ResultBox<bool> result;
        MondayManager::fetchProductId(QStringLiteral("com.example"), [&](std::optional<QString>) { result.set(true); });
        QTRY_COMPARE(console.lines().size(), 1);
        QCOMPARE(console.lines().first(), QStringLiteral("The network connection was lost."));
        settle(200);
        QVERIFY(!result.called());
    }

    void addItemTransportError()
    {
        ConsoleCapture console;
        TessivoKit::shared().setProductId(QStringLiteral("P1"));
        ResultBox<std::optional<QString>> result;
        MondayManager::addItem(QStringLiteral("x"), [&](std::optional<QString> id) { result.set(id); });
        QTRY_VERIFY(result.called());
        QCOMPARE(result.value(), std::nullopt);
        QCOMPARE(console.lines(), QStringList{QStringLiteral(
            "Create monday card error:Error Domain=URLErrorDomain Code=-1005 \"The network connection was lost.\"")});
    }

    void imageUploadTimesOutAfterFiveSeconds()
    {
        m_hold = true;
        ConsoleCapture console;
        TessivoKit::shared().setProductId(QStringLiteral("P1"));
        QElapsedTimer timer;
        timer.start();
        MondayManager::uploadImage("X");
        QTRY_COMPARE_WITH_TIMEOUT(console.lines().size(), 1, 15000);
        const qint64 elapsed = timer.elapsed();
        QVERIFY2(elapsed >= 4500 && elapsed < 9000, qPrintable(QString::number(elapsed)));
        QCOMPARE(console.lines().first(), QStringLiteral(
            "nil nil Optional(Error Domain=URLErrorDomain Code=-1001 \"The request timed out.\")"));
        m_hold = false;
        qDeleteAll(m_held);
        m_held.clear();
    }
};

QTEST_MAIN(TestMondayTransport)
#include "tst_mondaymanager_transport.moc"
