// The editor base: generated names, the author check, committing the note
// panel, note types, anchoring on large screens, and saving to Photos.
#include "core/TessivoKit.h"
#include "editors/NoteEditorViewController.h"
#include "editors/RandomAuthorName.h"
#include "platform/ActivityViewController.h"
#include "platform/Device.h"
#include "platform/PhotoLibrary.h"
#include "platform/UserDefaults.h"
#include "TestSupport.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace tessivo;

namespace {

struct Host {
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QPointer<NoteEditorViewController> editor = new NoteEditorViewController;
    Host()
    {
        window->resize(390, 760);
        window->show();
        QApplication::setActiveWindow(window.get());
        ViewController::rootOf(window.get())->present(editor, false);
        QTRY_VERIFY(editor->hasAppeared());
        QTRY_VERIFY(editor->noteView()->isVisible()); // opened on appear
    }
    AlertController *presentedAlert() const
    {
        return qobject_cast<AlertController *>(editor->presentedViewController());
    }
};

void send(EditorViewController *editor)
{
    editor->sendFeedback(QImage(8, 8, QImage::Format_ARGB32), std::nullopt, "note.png", "summary", "details",
                         false);
}

} // namespace

class EditorBaseTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;
    QTemporaryDir m_photos;

private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setApplicationVersion("3.1");
        qputenv("TESSIVO_PHOTO_LIBRARY_DIR", m_photos.path().toUtf8());
        Device::setUserInterfaceIdiom(UserInterfaceIdiom::phone);
    }

    void init()
    {
        UserDefaults::standard().removeObject("noteAuthor");
        UserDefaults::standard().removeObject("anonymousAuthor");
        TessivoKit::shared().shareMethod = ShareMethod::shareSheet;
        TessivoKit::shared().navigationAlreadyStarted = true;
        PhotoLibrary::shared().setAuthorizationStatus(PhotoAuthorizationStatus::authorized);
    }

    void generatedNamesComeFromTheFixedWords()
    {
        QCOMPARE(authorColors().size(), 22);
        QCOMPARE(authorAnimals().size(), 71);
        for (const QString &fish : {QStringLiteral("Jelly\uFB01sh"), QStringLiteral("Sword\uFB01sh"), QStringLiteral("Cat\uFB01sh")})
            QVERIFY2(authorAnimals().contains(fish), qPrintable(fish));
        QVERIFY(!authorAnimals().contains("Jellyfish"));
        QVERIFY(authorAnimals().contains("Chipmunks"));

        const QString name = randomAuthorName();
        const QString pattern = "^(" + authorColors().join('|') + ")(" + authorAnimals().join('|') + ")$";
        QVERIFY2(QRegularExpression(pattern).match(name).hasMatch(), qPrintable(name));

        auto zero = [] { return 0u; };
        QCOMPARE(makeAuthorName({}, authorAnimals(), zero), QString("PurpleLion"));
        QCOMPARE(makeAuthorName(authorColors(), {}, zero), QString("PurpleLion"));
        // Teal is the tenth colour, Penguin the 42nd animal: the draws that
        // land on them map through the high word of draw × count.
        auto drawFor = [](quint32 index, quint32 count) { return quint32(((quint64(index) << 32) + count - 1) / count); };
        QList<quint32> draws{drawFor(9, 22), drawFor(41, 71)};
        QCOMPARE(makeAuthorName(authorColors(), authorAnimals(), [&] { return draws.takeFirst(); }),
                 QString("TealPenguin"));
    }

    void indexesAreUniformWithoutModuloBias()
    {
        // For 3 values, 2^32 mod 3 = 1: the single low word 0 of index 0's
        // band is rejected and drawn again.
        QList<quint32> draws{0u, 0xFFFFFFFFu};
        QCOMPARE(uniformIndex(3, [&] { return draws.takeFirst(); }), 2u);
        QVERIFY(draws.isEmpty());
        // Every value of a small bound appears, none outside it.
        QList<int> seen(71);
        for (int i = 0; i < 20000; ++i)
            ++seen[int(uniformIndex(71, []() -> quint32 { return QRandomGenerator::global()->generate(); }))];
        for (int count : seen)
            QVERIFY(count > 150 && count < 450);
    }

    void aRememberedAuthorSkipsThePrompt()
    {
        UserDefaults::standard().setString("Ann", "noteAuthor");
        Host host;
        QCOMPARE(host.editor->metadata.author, QString("Ann"));
        QCOMPARE(host.editor->metadata.selectedNoteTypes, QStringList{"Feedback"});
        send(host.editor);
        QVERIFY(!host.editor->alertController());
        QTRY_VERIFY(qobject_cast<ActivityViewController *>(host.editor->presentedViewController()));
        QVERIFY(!host.editor->isUserInteractionEnabled());
        QVERIFY(host.editor->activityIndicator()->isVisible());
    }

    void anAcceptedGeneratedNameIsKept()
    {
        QString generated;
        {
            Host host;
            send(host.editor);
            AlertController *prompt = host.presentedAlert();
            QVERIFY(prompt);
            QCOMPARE(prompt, host.editor->alertController());
            QCOMPARE(prompt->alertTitle(), QString("Add your name"));
            QCOMPARE(prompt->message(), QString("Or send anonymously with the randomly generated one below."));
            QLineEdit *field = prompt->textFields().value(0);
            generated = field->placeholderText();
            QVERIFY(!generated.isEmpty());
            QVERIFY(field->text().isEmpty());
            QTest::keyClicks(field, "   "); // spaces only: the generated name is accepted
            prompt->tapAction(1);
            QTRY_VERIFY(host.editor->shareView()->isVisible()); // back to the share panel
            QCOMPARE(UserDefaults::standard().stringForKey("anonymousAuthor"), generated);
            QVERIFY(host.editor->metadata.author.isEmpty());
        }
        // A later session (another launch reads the same defaults) sends at once.
        Host host;
        send(host.editor);
        QVERIFY(!host.editor->alertController());
        QTRY_VERIFY(qobject_cast<ActivityViewController *>(host.editor->presentedViewController()));
    }

    void aTypedNameBecomesTheAuthorAndCancelSendsNothing()
    {
        Host host;
        send(host.editor);
        AlertController *prompt = host.presentedAlert();
        prompt->tapAction(0); // Cancel
        QTRY_VERIFY(!host.editor->presentedViewController());
        QVERIFY(host.editor->isUserInteractionEnabled());
        send(host.editor);
        prompt = host.presentedAlert();
        QTest::keyClicks(prompt->textFields().value(0), "  Bea  ");
        prompt->tapAction(1);
        QTRY_COMPARE(host.editor->metadata.author, QString("Bea"));
        QCOMPARE(UserDefaults::standard().stringForKey("noteAuthor"), QString("Bea"));
        QVERIFY(!UserDefaults::standard().contains("anonymousAuthor"));
    }

    void committingTheNotePanel()
    {
        Host host;
        NoteTextView *panel = host.editor->noteView();
        // Placeholders are stored as empty strings.
        host.editor->resetPanels();
        QCOMPARE(host.editor->metadata.note, QString());
        QCOMPARE(host.editor->metadata.author, QString());
        QVERIFY(UserDefaults::standard().contains("noteAuthor"));
        QVERIFY(panel->isHidden());

        // The note keeps its line breaks; the name loses them.
        host.editor->noteTapped();
        QVERIFY(panel->isVisible());
        const QString rtl = QString::fromUtf8("שלום עולם 🙂");
        const QString longNote = QString("x").repeated(5000);
        panel->nameTextView()->setPlainText(" \nAnn " + rtl + "\n\t");
        panel->noteTextView()->setPlainText("\t \nLine one\n" + longNote + "\n  ");
        host.editor->resetPanels();
        QCOMPARE(host.editor->metadata.author, "Ann " + rtl);
        QCOMPARE(host.editor->metadata.note, "\nLine one\n" + longNote + "\n");
        QCOMPARE(UserDefaults::standard().stringForKey("noteAuthor"), "Ann " + rtl);
        // The card shows what was committed.
        QCOMPARE(host.editor->metadataView()->metadata().author, "Ann " + rtl);
    }

    void noteTypesFollowTheSelectedIndexes()
    {
        Host host;
        host.editor->selectedNoteIndexes = {2, 0};
        host.editor->syncSelectedNoteTypes();
        QCOMPARE(host.editor->metadata.selectedNoteTypes, (QStringList{"Suggestion", "Feedback"}));
        host.editor->noteTypeSelected(2); // already there
        host.editor->noteTypeSelected(3);
        host.editor->noteTypeDeselected(0);
        host.editor->syncSelectedNoteTypes();
        QCOMPARE(host.editor->metadata.selectedNoteTypes, (QStringList{"Suggestion", "Other"}));
    }

    void largeScreensCentreAlertsWithoutArrow()
    {
        Device::setUserInterfaceIdiom(UserInterfaceIdiom::pad);
        Host host;
        host.editor->confirmQuit(QImage(4, 4, QImage::Format_ARGB32), std::nullopt, "Note", true);
        AlertController *sheet = host.presentedAlert();
        QVERIFY(sheet);
        QCOMPARE(sheet->preferredStyle(), AlertControllerStyle::actionSheet);
        QCOMPARE(sheet->message(), QString("Are you sure you want to quit?"));
        QVERIFY(!sheet->alertTitle());
        QStringList titles;
        for (const AlertAction &action : sheet->actions())
            titles << action.title();
        QCOMPARE(titles, (QStringList{"Save to Photos", "Delete Note", "Cancel"}));
        PopoverPresentation *popover = sheet->popoverPresentationController();
        QVERIFY(popover);
        QCOMPARE(popover->sourceView.data(), static_cast<QWidget *>(host.editor));
        QCOMPARE(popover->sourceRect, QRectF(QRectF(host.editor->rect()).center(), QSizeF(0, 0)));
        QCOMPARE(popover->permittedArrowDirections, 0u);
        // Cancel with restore reopens the note panel in the editor.
        host.editor->closeTapped(); // leave note editing first: the panel is open
        sheet->tapAction(2);
        QTRY_VERIFY(host.editor->noteView()->isVisible());
        QVERIFY(host.editor->isEditingNote);
        Device::setUserInterfaceIdiom(UserInterfaceIdiom::phone);
    }

    void savingToPhotosByStatus()
    {
        test::ConsoleCapture console;
        const QImage card(20, 10, QImage::Format_ARGB32);
        for (auto [status, line] : {std::pair{PhotoAuthorizationStatus::denied, "Not allowed to access Photos library"},
                                    std::pair{PhotoAuthorizationStatus::restricted, "Not allowed to access Photos library"},
                                    std::pair{PhotoAuthorizationStatus::notDetermined, "Not determined yet"}}) {
            console.clear();
            PhotoLibrary::shared().setAuthorizationStatus(status);
            Host host;
            host.editor->saveToPhotos(card, std::nullopt, "Note");
            QTRY_VERIFY(console.contains(line));
            QTest::qWait(2300);
            QVERIFY(host.editor); // still open
            QVERIFY(!host.editor->presentedViewController());
            QVERIFY(TessivoKit::shared().navigationAlreadyStarted);
        }
        {
            PhotoLibrary::shared().setAuthorizationStatus(PhotoAuthorizationStatus::limited);
            Host host;
            host.editor->saveToPhotos(card, std::nullopt, "Note");
            QTest::qWait(300);
            QVERIFY(!host.editor->presentedViewController());
        }
        QVERIFY(QDir(m_photos.path()).isEmpty());

        PhotoLibrary::shared().setAuthorizationStatus(PhotoAuthorizationStatus::authorized);
        Host host;
        host.editor->saveToPhotos(card, std::nullopt, "Note");
        QTRY_VERIFY(host.presentedAlert());
        QCOMPARE(host.presentedAlert()->message(), QString("Note saved to Photos library!"));
        QCOMPARE(QDir(m_photos.path()).entryList(QDir::Files).size(), 1);
        QElapsedTimer clock;
        clock.start();
        QTRY_VERIFY_WITH_TIMEOUT(!host.editor, 5000);
        QVERIFY(clock.elapsed() >= 1500);
        QVERIFY(!TessivoKit::shared().navigationAlreadyStarted);

        // A failed save is told as well, and closes the editor too.
        Host second;
        second.editor->saveToPhotos(std::nullopt, QUrl::fromLocalFile("/no/such/video.mov"), "Video");
        QTRY_VERIFY(second.presentedAlert());
        QCOMPARE(second.presentedAlert()->message(), QString("Video not saved"));
        QTRY_VERIFY_WITH_TIMEOUT(!second.editor, 5000);
    }
};

QTEST_MAIN(EditorBaseTest)
#include "tst_editor_base.moc"
