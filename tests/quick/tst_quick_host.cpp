// A QML host window (QQmlApplicationEngine) with known content: the
// keyboard shortcut, a pointer shake and Tessivo.startFeedback() from QML
// open the capture choice over it, in the kit's overlay of that window; its
// screenshot report reaches the Trello stand-in holding the QML pixels, with
// the item marked private filled.
#include "core/Configs.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/ReportDelivery.h"
#include "metadata/SharingMethodView.h"
#include "photo/ControlsView.h"
#include "photo/PhotoEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/PrivacyMask.h"
#include "platform/UserDefaults.h"
#include "sharing/TrelloManager.h"
#include "../photo/PhotoTesting.h"
#include "LocalHttpServer.h"
#include "TestSupport.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QSGRendererInterface>

using namespace tessivo;
using test::HttpRequest;
using test::HttpResponse;

namespace {

const char *kHostQml = R"(
import QtQuick
import QtQuick.Window
import Tessivo

Window {
    width: 390; height: 760; visible: true; color: "white"
    Rectangle { x: 0; y: 0; width: 390; height: 180; color: "#1565c0" }
    Rectangle { x: 40; y: 300; width: 120; height: 120; color: "#2e7d32" }
    Rectangle { x: 220; y: 300; width: 120; height: 120; color: "#ff0000"
                property bool tessivoPrivate: true }
    Rectangle {
        x: 200; y: 600; width: 160; height: 80; color: "#f9a825"
        MouseArea { anchors.fill: parent; onClicked: Tessivo.startFeedback() }
    }
}
)";

bool near(const QColor &c, const QColor &expected)
{
    return qAbs(c.red() - expected.red()) < 16 && qAbs(c.green() - expected.green()) < 16
        && qAbs(c.blue() - expected.blue()) < 16;
}

} // namespace

class QuickHostTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<test::LocalHttpServer> m_server;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QPointer<QQuickWindow> m_window;

    SelectOptionViewController *waitForChoice()
    {
        SelectOptionViewController *choice = nullptr;
        [&] {
            QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
            QTRY_VERIFY(choice->hasAppeared());
        }();
        return QTest::currentTestFailed() ? nullptr : choice;
    }

    /// The choice is over the Quick window, at its place and size; closing
    /// it hides the overlay again.
    void checkOverWindowAndClose(SelectOptionViewController *choice)
    {
        QVERIFY(choice);
        QWidget *overlay = choice->window();
        QVERIFY(overlay != choice && overlay->isVisible());
        QCOMPARE(overlay->geometry(), m_window->geometry());
        QCOMPARE(overlay->windowHandle()->transientParent(), m_window.data());
        choice->closeMainScreen();
        QTRY_VERIFY(!overlay->isVisible());
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);
    }

    /// Clicks the QML button that calls Tessivo.startFeedback().
    void startFromQml() { QTest::mouseClick(m_window, Qt::LeftButton, {}, QPoint(280, 640)); }

private Q_SLOTS:
    void initTestCase()
    {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        QCoreApplication::setApplicationVersion("2.4");
        m_server = std::make_unique<test::LocalHttpServer>([](const HttpRequest &request) {
            if (request.path() == "/1/cards")
                return HttpResponse{200, R"({"id":"c9"})"};
            return HttpResponse{200, "{}"};
        });
        qputenv(TrelloManager::kApiUrlEnvironment, m_server->baseUrl().toUtf8());
        auto configs = std::make_shared<TrelloConfigs>("list1", "key1", "token1");
        configs->setShareMethod(ShareMethod::trello);
        TessivoKit::shared().optionalConfigs = configs;
        TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::shake;
        ReportDelivery::setStepTimeout(20);
    }

    void init()
    {
        m_engine = std::make_unique<QQmlApplicationEngine>();
        m_engine->loadData(kHostQml);
        QCOMPARE(m_engine->rootObjects().size(), 1);
        m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().first());
        QVERIFY(m_window);
        m_window->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(m_window));
        TessivoKit::shared().navigationAlreadyStarted = false;
    }

    void cleanup() { m_engine.reset(); }

    void eachTriggerOpensTheChoiceOverTheQuickWindow()
    {
        QTest::keyClick(m_window, Qt::Key_F, Qt::ControlModifier | Qt::AltModifier);
        SelectOptionViewController *choice = waitForChoice();
        QVERIFY(choice);
        // The overlay follows the window while it is up.
        m_window->setGeometry(QRect(30, 40, 400, 700));
        QTRY_COMPARE(choice->window()->geometry(), QRect(30, 40, 400, 700));
        QTRY_COMPARE(choice->size(), QSize(400, 700));
        checkOverWindowAndClose(choice);

        QTRY_COMPARE(QGuiApplication::focusWindow(), m_window.data());
        for (int leg = 0; leg < 6; ++leg) {
            const int from = leg % 2 ? 300 : 100;
            const int to = leg % 2 ? 100 : 300;
            for (int step = 1; step <= 4; ++step)
                QTest::mouseMove(m_window, QPoint(from + (to - from) * step / 4, 150));
        }
        checkOverWindowAndClose(waitForChoice());

        startFromQml();
        checkOverWindowAndClose(waitForChoice());
    }

    void aScreenshotReportHoldsTheQmlContent()
    {
        UserDefaults::standard().setString("Ann", "noteAuthor");
        startFromQml();
        SelectOptionViewController *choice = waitForChoice();
        QVERIFY(choice);
        test::click(choice->screenshotView());
        QPointer<PhotoEditorViewController> editor;
        QTRY_VERIFY((editor = qobject_cast<PhotoEditorViewController *>(topMostViewController())));
        QTRY_VERIFY(editor->hasAppeared());
        QCOMPARE(editor->image().size(), m_window->size() * m_window->devicePixelRatio());

        test::click(editor->controlsView()->shareButton());
        QTRY_VERIFY(editor->shareView()->isVisible());
        const int before = static_cast<int>(m_server->requests().size());
        test::click(editor->shareView()->mondayButton());
        AlertController *alert = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((alert = qobject_cast<AlertController *>(topMostViewController())), 10000);
        QCOMPARE(alert->alertTitle(), QString("Shared!"));
        alert->tapAction(0);
        const QList<HttpRequest> requests = m_server->requests().mid(before);
        QCOMPARE(requests.size(), 2);
        const QByteArray body = requests[1].body;
        const qsizetype name = body.indexOf("filename=\"screenshot.png\"");
        QVERIFY(name >= 0);
        const qsizetype start = body.indexOf("\r\n\r\n", name) + 4;
        const QImage png = QImage::fromData(body.mid(start, body.lastIndexOf("\r\n--") - start), "PNG");
        QVERIFY(!png.isNull());

        // The QML scene, not the kit, at the top of the canvas.
        QVERIFY(near(png.pixelColor(100, 90), QColor("#1565c0")));
        QVERIFY(near(png.pixelColor(100, 360), QColor("#2e7d32")));
        QVERIFY(near(png.pixelColor(280, 640), QColor("#f9a825")));
        QVERIFY(near(png.pixelColor(100, 500), Qt::white));
        QVERIFY(near(png.pixelColor(280, 360), PrivacyMask::fillColor()));
        QVERIFY(near(png.pixelColor(215, 360), Qt::white));
    }
};

QTEST_MAIN(QuickHostTest)
#include "tst_quick_host.moc"
