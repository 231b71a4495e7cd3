// The share sheet's activities and the photo library behind one of them.
#include "platform/ActivityViewController.h"
#include "platform/PhotoLibrary.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>

using namespace tessivo;

namespace {

struct Outcome {
    bool called = false;
    std::optional<ActivityType> activity;
    bool completed = false;
};

QImage sampleImage()
{
    QImage image(40, 30, QImage::Format_ARGB32);
    image.fill(QColor(200, 40, 90));
    return image;
}

} // namespace

class ShareSheetTest : public QObject
{
    Q_OBJECT
    QTemporaryDir m_library;
    std::unique_ptr<QWidget> m_window;

    std::shared_ptr<Outcome> present(ActivityViewController *sheet)
    {
        auto outcome = std::make_shared<Outcome>();
        sheet->setCompletionWithItemsHandler([outcome](std::optional<ActivityType> a, bool done) {
            outcome->called = true;
            outcome->activity = a;
            outcome->completed = done;
        });
        ViewController::rootOf(m_window.get())->present(sheet, false);
        return outcome;
    }

private Q_SLOTS:
    void initTestCase() { qputenv("TESSIVO_PHOTO_LIBRARY_DIR", m_library.path().toUtf8()); }

    void init()
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(400, 500);
        m_window->show();
    }

    void copyPutsTheImageOnTheClipboardAndCompletesAfterDismissal()
    {
        auto *sheet = new ActivityViewController({sampleImage()});
        QCOMPARE(sheet->activities().size(), 5);
        auto outcome = present(sheet);
        sheet->perform(ActivityType::copyToPasteboard);
        QVERIFY(!outcome->called); // not before the sheet is gone
        QTRY_VERIFY(outcome->called);
        QCOMPARE(outcome->activity, std::optional(ActivityType::copyToPasteboard));
        QVERIFY(outcome->completed);
        QCOMPARE(QApplication::clipboard()->image().size(), QSize(40, 30));
    }

    void saveToFileWritesWhereTheTesterChose()
    {
        QTemporaryDir target;
        const QString path = target.filePath("chosen.png");
        ActivityViewController::setSavePathProvider([&](QWidget *, const QString &suggested) {
            return suggested.endsWith(".png") ? path : QString();
        });
        auto *sheet = new ActivityViewController({sampleImage()});
        auto outcome = present(sheet);
        sheet->perform(ActivityType::saveToFile);
        QTRY_VERIFY(outcome->called);
        QVERIFY(outcome->completed);
        QCOMPARE(QImage(path).size(), QSize(40, 30));

        // Choosing no file is an activity that did not complete.
        ActivityViewController::setSavePathProvider([](QWidget *, const QString &) { return QString(); });
        auto *again = new ActivityViewController({sampleImage()});
        auto second = present(again);
        again->perform(ActivityType::saveToFile);
        QTRY_VERIFY(second->called);
        QVERIFY(!second->completed);
    }

    void saveToPhotosAndCancel()
    {
        auto *sheet = new ActivityViewController({sampleImage()});
        auto outcome = present(sheet);
        sheet->perform(ActivityType::saveToCameraRoll);
        QTRY_VERIFY(outcome->called);
        QVERIFY(outcome->completed);
        QTRY_COMPARE(QDir(m_library.path()).entryList({"*.png"}).size(), 1);

        auto *other = new ActivityViewController({sampleImage()});
        auto cancelled = present(other);
        other->cancel();
        other->perform(ActivityType::copyToPasteboard); // too late: already finished
        QTRY_VERIFY(cancelled->called);
        QVERIFY(!cancelled->activity);
        QVERIFY(!cancelled->completed);
    }

    void theLibraryReportsWhatItCouldNotSave()
    {
        bool done = false;
        std::optional<QString> saved;
        QString error;
        PhotoLibrary::shared().saveVideo("/no/such/video.mov", [&](std::optional<QString> p, QString e) {
            saved = p;
            error = e;
            done = true;
        });
        QTRY_VERIFY(done);
        QVERIFY(!saved);
        QVERIFY(error.contains("/no/such/video.mov"));

        PhotoLibrary::shared().setAuthorizationStatus(PhotoAuthorizationStatus::denied);
        std::optional<PhotoAuthorizationStatus> status;
        PhotoLibrary::shared().requestAuthorization([&](PhotoAuthorizationStatus s) { status = s; });
        QTRY_VERIFY(status);
        QCOMPARE(*status, PhotoAuthorizationStatus::denied);
        PhotoLibrary::shared().setAuthorizationStatus(PhotoAuthorizationStatus::authorized);
    }
};

QTEST_MAIN(ShareSheetTest)
#include "tst_share_sheet.moc"
