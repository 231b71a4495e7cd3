// A QML host window: the shortcut, a pointer shake, Tessivo.startFeedback()
// from QML and a four-finger swipe open the capture choice over it; its screenshot report reaches the
// Trello stand-in with the QML pixels and the private item filled.
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
#include <QPointingDevice>
#include <QQuickWindow>

using namespace tessivo;

static const char *kHostQml = R"(
    import QtQuick
    import Tessivo
    Window {
        width: 390; height: 760; visible: true; color: "white"
        Rectangle { width: 390; height: 180; color: "#1565c0" }
        Rectangle { x: 40; y: 300; width: 120; height: 120; color: "#2e7d32" }
        Rectangle { x: 220; y: 300; width: 120; height: 120; color: "red"
                    property bool tessivoPrivate: true }
        Rectangle { x: 200; y: 600; width: 160; height: 80; color: "#f9a825"
                    MouseArea { anchors.fill: parent; onClicked: Tessivo.startFeedback() } }
    })";

class QuickHostTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<test::LocalHttpServer> m_server;
    std::unique_ptr<QQmlApplicationEngine> m_engine;
    QPointer<QQuickWindow> m_window;

    /// Opens the choice by `trigger`; it is over the Quick window, at its
    /// place and size.
    SelectOptionViewController *open(const std::function<void()> &trigger)
    {
        trigger();
        SelectOptionViewController *choice = nullptr;
        [&] {
            QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
            QTRY_VERIFY(choice->hasAppeared());
            QWidget *overlay = choice->window();
            QVERIFY(overlay != choice && overlay->isVisible());
            QCOMPARE(overlay->geometry(), m_window->geometry());
            QCOMPARE(overlay->windowHandle()->transientParent(), m_window.data());
        }();
        return QTest::currentTestFailed() ? nullptr : choice;
    }
    void close(SelectOptionViewController *choice)
    {
        QPointer<QWidget> overlay = choice->window();
        choice->closeMainScreen();
        QTRY_VERIFY(!overlay->isVisible());
        QTRY_COMPARE(QGuiApplication::focusWindow(), m_window.data());
    }
    /// The QML button that calls Tessivo.startFeedback().
    void clickQmlButton() { QTest::mouseClick(m_window, Qt::LeftButton, {}, QPoint(280, 640)); }

private Q_SLOTS:
    void initTestCase()
    {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        QCoreApplication::setApplicationVersion("2.4");
        m_server = std::make_unique<test::LocalHttpServer>([](const test::HttpRequest &request) {
            return test::HttpResponse{200, request.path() == "/1/cards" ? "{\"id\":\"c9\"}" : "{}"};
        });
        qputenv(TrelloManager::kApiUrlEnvironment, m_server->baseUrl().toUtf8());
        auto configs = std::make_shared<TrelloConfigs>("list1", "key1", "token1");
        configs->setShareMethod(ShareMethod::trello);
        TessivoKit::shared().optionalConfigs = configs;
        ReportDelivery::setStepTimeout(20);
        UserDefaults::standard().setString("Ann", "noteAuthor");
    }

    void init()
    {
        m_engine = std::make_unique<QQmlApplicationEngine>();
        m_engine->loadData(kHostQml);
        QCOMPARE(m_engine->rootObjects().size(), 1);
        m_window = qobject_cast<QQuickWindow *>(m_engine->rootObjects().first());
        m_window->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(m_window));
    }

    void cleanup() { m_engine.reset(); }

    void eachTriggerOpensTheChoiceOverTheQuickWindow()
    {
        SelectOptionViewController *choice =
            open([&] { QTest::keyClick(m_window, Qt::Key_F, Qt::ControlModifier | Qt::AltModifier); });
        QVERIFY(choice);
        // The overlay follows the window while it is up.
        m_window->setGeometry(QRect(30, 40, 400, 700));
        QTRY_COMPARE(choice->window()->geometry(), QRect(30, 40, 400, 700));
        QTRY_COMPARE(choice->size(), QSize(400, 700));
        close(choice);

        choice = open([&] {
            for (int leg = 0; leg < 6; ++leg) {
                for (int step = 1; step <= 4; ++step)
                    QTest::mouseMove(m_window, QPoint(leg % 2 ? 300 - 50 * step : 100 + 50 * step, 150));
            }
        });
        QVERIFY(choice);
        close(choice);
        QVERIFY((choice = open([&] { clickQmlButton(); })));
        close(choice);

        // Four fingers swiping down the Quick window.
        TessivoKit::shared().initialize(TessivoKit::FeedbackGesture::fourFingers, "", false);
        const std::unique_ptr<QPointingDevice> touchscreen(QTest::createTouchDevice());
        QVERIFY((choice = open([&] {
            for (int y : {100, 180, 260}) {
                auto touches = QTest::touchEvent(m_window, touchscreen.get());
                for (int i = 0; i < 4; ++i)
                    y == 100 ? touches.press(i, QPoint(60 + 80 * i, y)) : touches.move(i, QPoint(60 + 80 * i, y));
            }
            auto release = QTest::touchEvent(m_window, touchscreen.get());
            for (int i = 0; i < 4; ++i)
                release.release(i, QPoint(60 + 80 * i, 260));
        })));
        close(choice);
    }

    void aScreenshotReportHoldsTheQmlContent()
    {
        SelectOptionViewController *choice = open([&] { clickQmlButton(); });
        QVERIFY(choice);
        test::click(choice->screenshotView());
        QPointer<PhotoEditorViewController> editor;
        QTRY_VERIFY((editor = qobject_cast<PhotoEditorViewController *>(topMostViewController())));
        QTRY_VERIFY(editor->hasAppeared());
        test::click(editor->controlsView()->shareButton());
        QTRY_VERIFY(editor->shareView()->isVisible());
        const qsizetype before = m_server->requests().size();
        test::click(editor->shareView()->mondayButton());
        QTRY_VERIFY_WITH_TIMEOUT(m_server->requests().size() == before + 2, 10000);
        const QByteArray body = m_server->requests().last().body;
        const qsizetype start = body.indexOf("\r\n\r\n", body.indexOf("filename=\"screenshot.png\"")) + 4;
        const QImage png = QImage::fromData(body.mid(start, body.lastIndexOf("\r\n--") - start), "PNG");
        QCOMPARE(png.width(), m_window->width());

        // The QML scene, not the kit, at the top of the canvas.
        auto near = [&](QPoint at, QColor expected) {
            const QColor c = png.pixelColor(at);
            return qAbs(c.red() - expected.red()) < 16 && qAbs(c.green() - expected.green()) < 16
                && qAbs(c.blue() - expected.blue()) < 16;
        };
        QVERIFY(near({100, 90}, QColor("#1565c0")));
        QVERIFY(near({100, 360}, QColor("#2e7d32")));
        QVERIFY(near({280, 640}, QColor("#f9a825")));
        QVERIFY(near({100, 500}, Qt::white));
        QVERIFY(near({280, 360}, PrivacyMask::fillColor()));
        QVERIFY(near({215, 360}, Qt::white));
    }
};

QTEST_MAIN(QuickHostTest)
#include "tst_quick_host.moc"
