// The inbox in a real browser: headless Chromium loads /inbox with the admin
// token and shows the report's image; without the token it is refused.
#include "RelayTestSupport.h"

#include "RelayServer.h"

#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

using namespace relaytest;

class TestRelayBrowser : public QObject
{
    Q_OBJECT

private:
    QString m_chromium;
    QTemporaryDir m_dir;
    std::unique_ptr<relay::RelayServer> m_relay;

    /// Runs Chromium on `url` with `extra` arguments; returns its stdout.
    QByteArray chromium(const QString &url, const QStringList &extra)
    {
        QTemporaryDir profile;
        QProcess p;
        QStringList args{QStringLiteral("--headless"), QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"),
                         QStringLiteral("--disable-background-networking"), QStringLiteral("--disable-component-update"),
                         QStringLiteral("--disable-sync"), QStringLiteral("--no-first-run"),
                         QStringLiteral("--disable-dev-shm-usage"), QStringLiteral("--hide-scrollbars"),
                         QStringLiteral("--user-data-dir=") + profile.path(), QStringLiteral("--window-size=900,900")};
        p.start(m_chromium, args + extra + QStringList{url});
        // The relay lives in this thread: keep the event loop running.
        if (!p.waitForStarted(10000))
            return {};
        QElapsedTimer timer;
        timer.start();
        while (p.state() != QProcess::NotRunning && timer.elapsed() < 90000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (p.state() != QProcess::NotRunning) {
            p.kill();
            p.waitForFinished(5000);
        }
        return p.readAllStandardOutput();
    }

    static int magentaPixels(const QImage &image)
    {
        int count = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor c = image.pixelColor(x, y);
                if (c.red() > 230 && c.green() < 30 && c.blue() > 230)
                    ++count;
            }
        }
        return count;
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const char *name : {"chromium", "chromium-browser", "google-chrome"}) {
            m_chromium = QStandardPaths::findExecutable(QString::fromLatin1(name));
            if (!m_chromium.isEmpty())
                break;
        }
        if (m_chromium.isEmpty())
            QSKIP("Chromium is not installed (Debian package chromium); the inbox browser test needs it.");
        relay::RelayConfig c;
        c.port = 0;
        c.dataDir = m_dir.path();
        m_relay = std::make_unique<relay::RelayServer>(c);
        QString error;
        QVERIFY2(m_relay->start(&error), qPrintable(error));

        relay::Product p;
        p.bundleId = QStringLiteral("com.example.browser");
        const auto product = m_relay->products().add(p, &error);
        QVERIFY(product);
        HttpClient http;
        const QString base = QStringLiteral("http://127.0.0.1:%1").arg(m_relay->port());
        QCOMPARE(http.send("POST", base + QStringLiteral("/monday/add-item?productId=") + product->id,
                           "{\"item_name\":\"Magenta square report\"}", {{"Content-Type", "application/json"}})
                     .status,
                 200);
        QImage square(120, 120, QImage::Format_RGB32);
        square.fill(QColor(255, 0, 255));
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        QVERIFY(square.save(&buffer, "PNG"));
        const QByteArray body = "--B\r\nContent-Disposition: form-data; name=\"productId\"\r\n\r\n" + product->id.toUtf8()
            + "\r\n--B\r\nContent-Disposition: form-data; name=\"title\"\r\n\r\nUploadImage\r\n"
              "--B\r\nContent-Disposition: form-data; name=\"file\"; filename=\"testFile.png\"\r\n"
              "Content-Type: image/png\r\n\r\n"
            + png + "\r\n--B--\r\n";
        QCOMPARE(http.send("POST", base + QStringLiteral("/monday/upload-file"), body,
                           {{"Content-Type", "multipart/form-data; boundary =B"}})
                     .status,
                 200);
    }

    void showsTheImageWithTheToken()
    {
        const QString shot = m_dir.filePath(QStringLiteral("with-token.png"));
        chromium(QStringLiteral("http://127.0.0.1:%1/inbox?token=%2").arg(m_relay->port()).arg(m_relay->adminToken()),
                 {QStringLiteral("--screenshot=") + shot});
        const QImage image(shot);
        QVERIFY2(!image.isNull(), "Chromium wrote no screenshot");
        // The 120 x 120 magenta image is drawn (at any device scale).
        QVERIFY2(magentaPixels(image) >= 120 * 120 * 9 / 10, qPrintable(QString::number(magentaPixels(image))));

        const QByteArray dom = chromium(
            QStringLiteral("http://127.0.0.1:%1/inbox?token=%2").arg(m_relay->port()).arg(m_relay->adminToken()),
            {QStringLiteral("--dump-dom")});
        QVERIFY(dom.contains("Magenta square report"));
        QVERIFY(dom.contains("<img class=\"report-image\""));
    }

    void refusedWithoutTheToken()
    {
        const QString shot = m_dir.filePath(QStringLiteral("without-token.png"));
        chromium(QStringLiteral("http://127.0.0.1:%1/inbox").arg(m_relay->port()), {QStringLiteral("--screenshot=") + shot});
        const QImage image(shot);
        QVERIFY(!image.isNull());
        QCOMPARE(magentaPixels(image), 0);
        const QByteArray dom = chromium(QStringLiteral("http://127.0.0.1:%1/inbox?token=wrong").arg(m_relay->port()),
                                        {QStringLiteral("--dump-dom")});
        QVERIFY(dom.contains("needs the admin token"));
        QVERIFY(!dom.contains("Magenta square report"));
    }
};

QTEST_GUILESS_MAIN(TestRelayBrowser)
#include "tst_relay_browser.moc"
