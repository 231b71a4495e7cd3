// A QML host window: the shortcut, a pointer shake, Tessivo.startFeedback()
// from QML and a four-finger swipe open the capture choice over it; its
// screenshot report reaches the Trello stand-in with the QML pixels and the
// private item filled.
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "metadata/SharingMethodView.h"
#include "photo/ControlsView.h"
#include "photo/PhotoEditorViewController.h"
#include "platform/PrivacyMask.h"
#include "platform/UserDefaults.h"
#include "sharing/TrelloManager.h"
#include "../photo/PhotoTesting.h"
#include "LocalHttpServer.h"
#include "TestSupport.h"

#include <QPointingDevice>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

using namespace tessivo;

static const char *kHostQml = R"(
    import QtQuick
    import Tessivo
    Window {
        width: 390; height: 760; visible: true; color: "white"
        Rectangle { width: 390; height: 180; color: "#1565c0" }
        Rectangle { x: 40; y: 300; width: 120; height: 120; color: "#2e7d32" }
        Rectangle { x: 220; y: 300; width: 120; height: 120; color: "red"; property bool tessivoPrivate: true }
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

    /// Opens the choice by `trigger`: it is over the Quick window, at its
    /// place and size, in a window tied to it.
    SelectOptionViewController *open(const std::function<void()> &trigger)
    {
        trigger();
        SelectOptionViewController *choice = nullptr;
        [&] {
            QTRY_VERIFY((choice = qobject_cast<SelectOptionViewController *>(topMostViewController())));
            QTRY_VERIFY(choice->hasAppeared() && choice->window()->isVisible());
            QCOMPARE(choice->window()->geometry(), m_window->geometry());
            QCOMPARE(choice->window()->windowHandle()->transientParent(), m_window.data());
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
        // The swipe's recogniser stays on the window with shake as the gesture.
        TessivoKit::shared().initialize(TessivoKit::FeedbackGesture::fourFingers, "", false);
        TessivoKit::shared().initialize(TessivoKit::FeedbackGesture::shake, "", false);
        const std::unique_ptr<QPointingDevice> touchscreen(QTest::createTouchDevice());
        const std::function<void()> triggers[] = {
            [&] { QTest::keyClick(m_window, Qt::Key_F, Qt::ControlModifier | Qt::AltModifier); },
            [&] { // six quick legs of the pointer
                for (int i = 0; i < 24; ++i)
                    QTest::mouseMove(m_window, QPoint(i / 4 % 2 ? 250 - 50 * (i % 4) : 150 + 50 * (i % 4), 150));
            },
            [&] { clickQmlButton(); },
            [&] { // four fingers swiping down
                for (int y : {100, 180, 260, 0}) {
                    auto touches = QTest::touchEvent(m_window, touchscreen.get());
                    for (int i = 0; i < 4; ++i) {
                        const QPoint at(60 + 80 * i, y ? y : 260);
                        y == 100 ? touches.press(i, at) : y ? touches.move(i, at) : touches.release(i, at);
                    }
                }
            },
        };
        for (const auto &trigger : triggers) {
            SelectOptionViewController *choice = open(trigger);
            QVERIFY(choice);
            if (&trigger == &triggers[3]) { // the overlay follows the window while it is up
                m_window->setGeometry(QRect(30, 40, 400, 700));
                QTRY_COMPARE(choice->window()->geometry(), QRect(30, 40, 400, 700));
                QTRY_COMPARE(choice->size(), QSize(400, 700));
            }
            close(choice);
        }
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
        QCOMPARE(png.pixelColor(100, 90), QColor("#1565c0"));
        QCOMPARE(png.pixelColor(100, 360), QColor("#2e7d32"));
        QCOMPARE(png.pixelColor(280, 640), QColor("#f9a825"));
        QCOMPARE(png.pixelColor(100, 500), QColor(Qt::white));
        QCOMPARE(png.pixelColor(280, 360), PrivacyMask::fillColor());
        QCOMPARE(png.pixelColor(215, 360), QColor(Qt::white));
    }
};

QTEST_MAIN(QuickHostTest)
#include "tst_quick_host.moc"
