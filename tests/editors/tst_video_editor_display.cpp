// What the video editor shows on screen: the recording's picture drawn in the
// editor's own window, with the note panel drawn over it, and no part of the
// editor turned into a native window (which would hide every panel, alert and
// sheet stacked over the video on a real display). Registered twice:
// offscreen, and under Xvfb with the xcb platform.
#include "editors/VideoEditorViewController.h"
#include "metadata/NoteTextView.h"
#include "TestSupport.h"

#include <QApplication>
#include <QMediaPlayer>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

using namespace tessivo;

namespace {

// A colour no part of the editor's own look uses.
const QColor kMovieColour(200, 40, 160);

bool isMovieColour(QRgb pixel)
{
    return std::abs(qRed(pixel) - kMovieColour.red()) < 28 && std::abs(qGreen(pixel) - kMovieColour.green()) < 28
           && std::abs(qBlue(pixel) - kMovieColour.blue()) < 28;
}

/// The bounding box of the movie-coloured pixels inside `area`, and the
/// share of `area`'s pixels that have that colour.
struct Coverage {
    QRect box;
    double share = 0;
};

Coverage coverage(const QImage &image, const QRect &area)
{
    Coverage result;
    qint64 hits = 0;
    const QRect clipped = area & image.rect();
    for (int y = clipped.top(); y <= clipped.bottom(); ++y)
        for (int x = clipped.left(); x <= clipped.right(); ++x)
            if (isMovieColour(image.pixel(x, y))) {
                ++hits;
                result.box |= QRect(x, y, 1, 1);
            }
    result.share = clipped.isEmpty() ? 0 : double(hits) / (qint64(clipped.width()) * clipped.height());
    return result;
}

/// The window as it is seen, at one image pixel per widget pixel: on a real
/// display the screen's own pixels (where a native window would cover the
/// panels), offscreen the window's rendering.
QImage windowPicture(QWidget *window)
{
    const QPixmap pixmap = QGuiApplication::platformName() == QLatin1String("offscreen")
                               ? window->grab()
                               : window->screen()->grabWindow(0, window->x(), window->y(), window->width(),
                                                              window->height());
    QImage image = pixmap.toImage();
    if (image.size() != window->size())
        image = image.scaled(window->size());
    return image.convertToFormat(QImage::Format_RGB32);
}

/// Widgets of the window that have a native window of their own, and
/// native windows embedded in it.
QStringList nativeChildren(QWidget *window)
{
    QStringList names;
    for (QWidget *widget : window->findChildren<QWidget *>())
        if (!widget->isWindow() && (widget->testAttribute(Qt::WA_NativeWindow) || widget->internalWinId()))
            names << QString::fromLatin1(widget->metaObject()->className());
    for (QWindow *embedded : QGuiApplication::allWindows())
        if (embedded->parent() && embedded->isVisible())
            names << QString::fromLatin1(embedded->metaObject()->className());
    return names;
}

QRect rectIn(QWidget *window, QWidget *widget)
{
    return QRect(widget->mapTo(window, QPoint(0, 0)), widget->size());
}

} // namespace

class VideoEditorDisplayTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    QTemporaryDir m_dir;

private Q_SLOTS:
    void theNotePanelIsDrawnOverThePlayingVideo()
    {
        // A silent portrait recording in one colour, as tall as the video area.
        const QString movie = m_dir.filePath("recording.mov");
        QProcess ffmpeg;
        ffmpeg.start("ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i",
                                QString("color=c=%1:s=180x320:r=30:d=3").arg(kMovieColour.name()), "-c:v",
                                "libx264", "-pix_fmt", "yuv420p", movie});
        QVERIFY(ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0);

        QWidget window;
        window.resize(390, 760);
        window.show();
        QApplication::setActiveWindow(&window);
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QPointer<VideoEditorViewController> editor = new VideoEditorViewController;
        editor->videoFileURL = QUrl::fromLocalFile(movie);
        ViewController::rootOf(&window)->present(editor, false);
        QTRY_VERIFY(editor->hasAppeared());
        QVERIFY(editor->player());

        // The picture shows up in the video area, whole and aspect-fit: as
        // tall as the area, 180/320 of that wide, centred.
        const QRect videoArea = rectIn(&window, editor->videoView());
        Coverage playing;
        QTRY_VERIFY_WITH_TIMEOUT((playing = coverage(windowPicture(&window), videoArea)).share > 0.5, 30000);
        const QRect fitted(videoArea.center().x() - videoArea.height() * 180 / 320 / 2, videoArea.top(),
                           videoArea.height() * 180 / 320, videoArea.height());
        QVERIFY2(std::abs(playing.box.left() - fitted.left()) <= 2 && std::abs(playing.box.right() - fitted.right()) <= 2
                     && std::abs(playing.box.height() - fitted.height()) <= 2,
                 qPrintable(QString("%1,%2 %3x%4").arg(playing.box.x()).arg(playing.box.y()).arg(playing.box.width())
                                .arg(playing.box.height())));
        QVERIFY2(nativeChildren(&window).isEmpty(), qPrintable(nativeChildren(&window).join(", ")));

        // The note panel covers the lower part of the picture; the upper
        // part still plays above it.
        editor->noteTapped();
        QTRY_VERIFY(editor->noteView()->isVisible());
        const QRect panel = rectIn(&window, editor->noteView());
        const QRect covered = panel & playing.box;
        QVERIFY(covered.height() > 200);
        const QRect above(playing.box.left(), playing.box.top(), playing.box.width(), panel.top() - playing.box.top());
        QTest::qWait(200);
        const QImage withPanel = windowPicture(&window);
        QVERIFY2(coverage(withPanel, covered).share < 0.02, qPrintable(QString::number(coverage(withPanel, covered).share)));
        QVERIFY(coverage(withPanel, above).share > 0.9);
        QVERIFY2(nativeChildren(&window).isEmpty(), qPrintable(nativeChildren(&window).join(", ")));
        // For a look by eye on a real display: the whole screen.
        if (qEnvironmentVariableIsSet("TESSIVO_SAVE_SCREEN"))
            QVERIFY(window.screen()->grabWindow(0).save(qEnvironmentVariable("TESSIVO_SAVE_SCREEN")));

        // Playback runs once; its last picture stays in place.
        QTRY_COMPARE_WITH_TIMEOUT(editor->player()->mediaStatus(), QMediaPlayer::EndOfMedia, 30000);
        QTest::qWait(200);
        QVERIFY(coverage(windowPicture(&window), above).share > 0.9);
    }
};

int main(int argc, char **argv)
{
    QTemporaryDir data;
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    QApplication app(argc, argv);
    QApplication::setApplicationName("VideoEditorHost");
    QApplication::setApplicationVersion("1.0");
    VideoEditorDisplayTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_video_editor_display.moc"
