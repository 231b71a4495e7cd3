// The capture folder and the five capture files.
#include "TestSupport.h"

#include "capture/CaptureMananger.h"
#include "capture/FileUtil.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTest>

using namespace tessivo;

class TestCaptureFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void folderIsCreatedOnFirstPathOnly();
    void fiveFilesDifferOnlyByBaseName();
    void deletion();

private:
    QString m_folder;
};

void TestCaptureFiles::initTestCase()
{
    QCoreApplication::setApplicationName("tst_capturefiles");
    QStandardPaths::setTestModeEnabled(true);
    m_folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + "/FHWCaptures";
    QDir(m_folder).removeRecursively();
}

void TestCaptureFiles::folderIsCreatedOnFirstPathOnly()
{
    test::ConsoleCapture console;
    QVERIFY(!QFileInfo::exists(m_folder));
    const QString path = FileUtil::capturePath("recordingVideo");
    QCOMPARE(path, m_folder + "/recordingVideo.mov");
    QVERIFY(QFileInfo(m_folder).isDir());
    QCOMPARE(console.lines(), QStringList{"Creating capture directory..."});
    FileUtil::capturePath("recordedVideo");
    QCOMPARE(console.lines().size(), 1);
}

void TestCaptureFiles::fiveFilesDifferOnlyByBaseName()
{
    CaptureMananger manager;
    QCOMPARE(manager.recordedFileURL().toLocalFile(), m_folder + "/recordedVideo.mov");
    QCOMPARE(manager.recordingFileURL().toLocalFile(), m_folder + "/recordingVideo.mov");
    QCOMPARE(manager.metadataFileURL().toLocalFile(), m_folder + "/metadataVideo.mov");
    QCOMPARE(manager.metadataMergedFileURL().toLocalFile(),
             m_folder + "/Tessivo recorded video.mov");
    QCOMPARE(manager.finalFileURL().toLocalFile(), m_folder + "/finalVideo.mov");
    QCOMPARE(manager.finalVideoDuration, 10.0f);
}

void TestCaptureFiles::deletion()
{
    CaptureMananger manager;
    const QList<QUrl> urls{manager.recordedFileURL(), manager.recordingFileURL(),
                           manager.metadataFileURL(), manager.metadataMergedFileURL(),
                           manager.finalFileURL()};
    test::ConsoleCapture console;
    // A missing file is not an error.
    manager.deleteFile(manager.finalFileURL());
    QVERIFY(console.lines().isEmpty());

    for (const QUrl &url : urls) {
        QFile file(url.toLocalFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("x");
    }
    manager.deleteFile(manager.recordedFileURL());
    QVERIFY(!QFileInfo::exists(urls[0].toLocalFile()));
    QVERIFY(QFileInfo::exists(urls[1].toLocalFile()));

    manager.deleteAllFiles();
    for (const QUrl &url : urls)
        QVERIFY2(!QFileInfo::exists(url.toLocalFile()), qPrintable(url.toLocalFile()));
    QVERIFY(QDir(m_folder).isEmpty());

    // A file that cannot be removed is reported and left alone.
    QVERIFY(QDir().mkpath(urls[4].toLocalFile() + "/inside"));
    manager.deleteFile(urls[4]);
    QVERIFY(console.contains("Error deleting capture file: "));
    QVERIFY(QDir(m_folder).removeRecursively());
}

QTEST_MAIN(TestCaptureFiles)
#include "tst_capturefiles.moc"
