// Private views never reach an image: a host with a password field, a
// private label, private Qt Quick items and a private widget that moves and
// scrolls every frame. Checked in the recorder's own frames, in the
// screenshot report's PNG and in every decoded frame of the video report.
#include "capture/CaptureMananger.h"
#include "core/SelectOptionViewController.h"
#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "editors/VideoEditorViewController.h"
#include "metadata/SharingMethodView.h"
#include "photo/PhotoEditorViewController.h"
#include "platform/AlertController.h"
#include "platform/PrivacyMask.h"
#include "platform/ScreenRecorder.h"
#include "platform/UserDefaults.h"
#include "LocalHttpServer.h"
#include "MovieProbe.h"
#include "TestSupport.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMutex>
#include <QPainter>
#include <QQuickWidget>
#include <QQuickWindow>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

using namespace tessivo;

namespace {

const QColor kBackground(250, 200, 120), kPublic(30, 60, 220);
// The password field, the private label, the private QML item, the QML
// password input, the moving widget.
const QList<QColor> kSecrets = {QColor(255, 0, 0), QColor(0, 200, 0), QColor(255, 0, 255),
                                QColor(255, 255, 0), QColor(0, 255, 255)};
const QRect kLabel(20, 80, 200, 40), kPublicLabel(260, 20, 200, 40);

bool near(QColor a, QColor b, int tolerance = 30)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue())
        < 3 * tolerance;
}

/// Pixels of `image` (within `area`) that show a private colour, leaving
/// out the colour `shown`.
int secretPixels(const QImage &image, QRect area, int shown = -1)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            for (int i = 0; i < kSecrets.size(); ++i)
                count += i != shown && near(image.pixelColor(x, y), kSecrets[i]);
        }
    }
    return count;
}

/// The recorder's picture as RGB: an image sample as it is, a YUV 4:2:0
/// one converted (BT.709, limited range, as the recorder writes it).
QImage pictureOf(const SampleBuffer &sample)
{
    if (!sample.imageBuffer().isNull())
        return sample.imageBuffer();
    const AVFrame *f = sample.pixelBuffer().get();
    if (!f || f->format != AV_PIX_FMT_YUV420P)
        return {};
    QImage image(f->width, f->height, QImage::Format_RGB32);
    for (int y = 0; y < f->height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < f->width; ++x) {
            const double c = 1.164 * (f->data[0][y * f->linesize[0] + x] - 16);
            const double d = f->data[1][(y / 2) * f->linesize[1] + x / 2] - 128;
            const double e = f->data[2][(y / 2) * f->linesize[2] + x / 2] - 128;
            line[x] = qRgb(qBound(0, qRound(c + 1.793 * e), 255), qBound(0, qRound(c - 0.213 * d - 0.533 * e), 255),
                           qBound(0, qRound(c + 2.112 * d), 255));
        }
    }
    return image;
}

class Host : public QWidget
{
public:
    QTemporaryDir m_dir;
    QLabel *label = new QLabel("ACCOUNT 4711", this);
    QWidget *mover = nullptr;
    QScrollArea *scroller = new QScrollArea(this);

    Host()
    {
        setFixedSize(480, 360);
        auto *password = new QLineEdit("hunter2", this);
        password->setEchoMode(QLineEdit::Password);
        password->setStyleSheet("background: #ff0000; color: black; border: none;");
        password->setGeometry(20, 20, 200, 40);
        label->setStyleSheet("background: #00c800;");
        label->setGeometry(kLabel);
        TessivoKit::setPrivate(label, true);
        auto *open = new QLabel("public", this);
        open->setStyleSheet("background: #1e3cdc; color: white;");
        open->setGeometry(kPublicLabel);
        auto *quick = new QQuickWidget(this);
        quick->setResizeMode(QQuickWidget::SizeRootObjectToView);
        QFile qml(m_dir.filePath("host.qml"));
        qml.open(QIODevice::WriteOnly);
        qml.write("import QtQuick\nRectangle { color: '#1e3cdc'\n"
                  "Rectangle { x: 10; y: 10; width: 180; height: 35; color: '#ff00ff'\n"
                  "  property bool tessivoPrivate: true; Text { text: 'TOKEN 99' } }\n"
                  "Rectangle { x: 10; y: 55; width: 180; height: 35; color: '#ffff00'\n"
                  "  TextInput { anchors.fill: parent; echoMode: TextInput.Password; text: 'pw' } } }\n");
        qml.close();
        quick->setSource(QUrl::fromLocalFile(qml.fileName()));
        quick->setGeometry(260, 80, 200, 100);
        auto *content = new QWidget;
        content->setFixedSize(420, 600);
        mover = new QLabel("CARD 1234", content);
        mover->setStyleSheet("background: #00ffff;");
        mover->resize(100, 60);
        TessivoKit::setPrivate(mover, true);
        scroller->setWidget(content);
        scroller->setGeometry(20, 200, 440, 140);
        // The private widget moves and its scroll area scrolls every frame.
        connect(&m_timer, &QTimer::timeout, this, [this] {
            mover->move((mover->x() + 7) % 300, 40 + (mover->y() + 11) % 400);
            QScrollBar *bar = scroller->verticalScrollBar();
            bar->setValue((bar->value() + 13) % (bar->maximum() + 1));
        });
        m_timer.start(33);
    }

protected:
    void paintEvent(QPaintEvent *) override { QPainter(this).fillRect(rect(), kBackground); }

private:
    QTimer m_timer;
};

/// Private areas masked and their surroundings intact in a host's frame
/// (or screenshot) drawn `scale` times the host's size.
void checkHostFrame(const QImage &frame, double scale, const QString &what)
{
    const auto at = [&](QPoint p) { return frame.pixelColor((QPointF(p) * scale).toPoint()); };
    QVERIFY2(secretPixels(frame, QRect(0, 0, int(480 * scale), int(360 * scale))) == 0, qPrintable(what));
    QVERIFY2(near(at(kLabel.center()), PrivacyMask::fillColor()), qPrintable(what));
    for (QPoint outside : {kLabel.topLeft() - QPoint(6, 6), kLabel.bottomRight() + QPoint(6, 6), QPoint(470, 190)})
        QVERIFY2(near(at(outside), kBackground), qPrintable(what));
    QVERIFY2(near(at(kPublicLabel.topLeft() + QPoint(4, 4)), kPublic), qPrintable(what));
    QVERIFY2(near(at(QPoint(265, 175)), kPublic), qPrintable(what)); // the QML background
}

} // namespace

class PrivacyMaskTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    std::unique_ptr<Host> m_host;
    std::unique_ptr<test::LocalHttpServer> m_trello;

    /// Sends the report of the open editor to the stand-in and returns the
    /// file it received.
    QByteArray send(EditorViewController *editor)
    {
        editor->shareTapped();
        if (!QTest::qWaitFor([&] { return editor->shareView()->isVisible(); }))
            return {};
        editor->shareView()->mondayButtonAction();
        AlertController *result = nullptr;
        if (!QTest::qWaitFor([&] { return (result = qobject_cast<AlertController *>(topMostViewController())); },
                             30000))
            return {};
        result->tapAction(0);
        const QByteArray body = m_trello->requests().last().body;
        const qsizetype start = body.indexOf("\r\n\r\n", body.indexOf("filename=")) + 4;
        return body.mid(start, body.lastIndexOf("\r\n--") - start);
    }

    void quit(EditorViewController *editor)
    {
        QPointer<EditorViewController> open(editor);
        editor->closeTapped();
        AlertController *sheet = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((sheet = qobject_cast<AlertController *>(topMostViewController())), 20000);
        sheet->tapAction(1); // discard
        QTRY_VERIFY_WITH_TIMEOUT(!open, 10000);
    }

    SelectOptionViewController *openChoice()
    {
        TessivoKit::shared().startFeedback();
        SelectOptionViewController *choice = nullptr;
        const auto open = [&] { return (choice = qobject_cast<SelectOptionViewController *>(topMostViewController())); };
        return QTest::qWaitFor(open) ? choice : nullptr;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_trello = std::make_unique<test::LocalHttpServer>([](const test::HttpRequest &) {
            return test::HttpResponse{200, R"({"id":"card42"})"};
        });
        qputenv("TESSIVO_TRELLO_API_URL", m_trello->baseUrl().toUtf8());
        auto trello = std::make_shared<TrelloConfigs>("list1", "key1", "token1");
        trello->setShareMethod(ShareMethod::trello);
        TessivoKit::shared().optionalConfigs = trello;
        UserDefaults::standard().setBool(true, "userAllowedRecordingKey");
        UserDefaults::standard().setString("Ann", "noteAuthor");
        m_host = std::make_unique<Host>();
        m_host->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_host.get()));
        QApplication::setActiveWindow(m_host.get());
        QTest::qWait(300); // the QML scene has rendered
    }

    void everyRecordedFrameIsMaskedUntilTheLabelIsUnmarked()
    {
        struct Frame { QImage image; MediaTime time; };
        QMutex mutex;
        QList<Frame> frames;
        ScreenRecorder &recorder = ScreenRecorder::shared();
        recorder.startCapture([&](const SampleBuffer &sample, SampleBufferType, std::optional<MediaError>) {
            QMutexLocker lock(&mutex);
            frames.append({pictureOf(sample), sample.presentationTimeStamp()});
        }, {});
        QTest::qWait(1200);
        const MediaTime unmarked = MediaTime::monotonicNow();
        TessivoKit::setPrivate(m_host->label, false);
        QTest::qWait(1200);
        recorder.stopCapture({});
        TessivoKit::setPrivate(m_host->label, true);
        QMutexLocker lock(&mutex);
        int before = 0, after = 0;
        for (const Frame &frame : std::as_const(frames)) {
            const QString what = QString("frame at %1 s").arg(frame.time.seconds());
            if (frame.time.seconds() < unmarked.seconds()) {
                ++before;
                checkHostFrame(frame.image, 1.0, what);
            } else if (after++ > 0) { // the first may hold what was painted before
                QVERIFY2(near(frame.image.pixelColor(kLabel.center() + QPoint(0, 12)), kSecrets[1]), qPrintable(what));
                QVERIFY2(secretPixels(frame.image, QRect(0, 0, 480, 360), 1) == 0, qPrintable(what));
            }
            if (QTest::currentTestFailed())
                return;
        }
        QVERIFY2(before > 10 && after > 10, qPrintable(QString("%1 and %2 frames").arg(before).arg(after)));
    }

    void aWidgetMovedSinceThePaintIsMaskedWhereThePaintHasIt()
    {
        m_host->repaint();
        m_host->label->move(kLabel.topLeft() + QPoint(0, 30));
        const QRegion masked = PrivacyMask::region(m_host.get());
        m_host->label->move(kLabel.topLeft());
        QCOMPARE(masked & kLabel, QRegion(kLabel));
        QCOMPARE(masked & kLabel.translated(0, 30), QRegion(kLabel.translated(0, 30)));
    }

    void theScreenshotReportHoldsNoPrivatePixels()
    {
        SelectOptionViewController *choice = openChoice();
        QVERIFY(choice);
        choice->showScreenshotMenu();
        PhotoEditorViewController *editor = nullptr;
        QTRY_VERIFY((editor = qobject_cast<PhotoEditorViewController *>(topMostViewController())));
        QTRY_VERIFY(editor->hasAppeared());
        const QImage png = QImage::fromData(send(editor), "PNG");
        quit(editor);
        QVERIFY(!png.isNull());
        checkHostFrame(png.convertToFormat(QImage::Format_RGB32), png.width() / 480.0, "the screenshot");
    }

    void everyFrameOfTheVideoReportIsMasked()
    {
        // A recording of the host alone, without the last session's screens.
        TessivoKit &kit = TessivoKit::shared();
        if (kit.isRecording) {
            QSignalSpy written(kit.captureManager(), &CaptureMananger::recordingWritten);
            kit.stopProcedure();
            QTRY_VERIFY(written.count() > 0);
        }
        TessivoKit::shared().startRecordingProcedure();
        QTRY_VERIFY(TessivoKit::shared().isRecording);
        QTest::qWait(2500);
        SelectOptionViewController *choice = openChoice();
        QVERIFY(choice);
        choice->showVideoMenu();
        VideoEditorViewController *editor = nullptr;
        QTRY_VERIFY_WITH_TIMEOUT((editor = qobject_cast<VideoEditorViewController *>(topMostViewController())), 15000);
        QTRY_VERIFY(editor->hasAppeared());
        QTemporaryDir scratch;
        const QString movie = scratch.filePath("report.mov");
        QFile file(movie);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(send(editor));
        file.close();
        quit(editor);
        const test::MovieInfo info = test::probeMovie(movie);
        QCOMPARE(QSize(info.width, info.height), QSize(480, 360));
        int hostFrames = 0, index = 0;
        for (const QImage &frame : test::decodedFrames(movie, info.width, info.height)) {
            ++index;
            if (!near(frame.pixelColor(3, 3), kBackground))
                continue; // the metadata card that opens and closes the movie
            ++hostFrames;
            checkHostFrame(frame, 1.0, QString("frame %1").arg(index));
            if (QTest::currentTestFailed())
                return;
        }
        QVERIFY2(hostFrames > 40, qPrintable(QString::number(hostFrames)));
    }
};

int main(int argc, char **argv)
{
    QTemporaryDir data;
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication app(argc, argv);
    QApplication::setApplicationName("PrivacyHost");
    QApplication::setApplicationVersion("1.0");
    PrivacyMaskTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_privacymask.moc"
