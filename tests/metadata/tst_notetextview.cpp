#include "metadata/DeviceMetadata.h"
#include "metadata/NoteTextView.h"
#include "metadata/NoteTypeCollectionViewCell.h"
#include "platform/Layer.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QTextFrame>

using namespace tessivo;

namespace {

class RecordingDelegate : public QObject, public NoteTextViewDelegate
{
public:
    void noteTypeSelected(int index) override { calls << QStringLiteral("+%1").arg(index); }
    void noteTypeDeselected(int index) override { calls << QStringLiteral("-%1").arg(index); }
    QStringList calls;
};

CaptureInfo record(const QString &author, const QString &note, QStringList types = {})
{
    CaptureInfo info;
    info.author = author;
    info.note = note;
    info.selectedNoteTypes = std::move(types);
    return info;
}

QString text(const QTextEdit *field)
{
    return field->toPlainText();
}

} // namespace

class NoteTextViewTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { qApp->setApplicationVersion(QStringLiteral("2.3")); }

    void setUp()
    {
        NoteTextView view;
        for (QTextEdit *field : {view.nameTextView(), view.noteTextView()})
            QCOMPARE(Layer::existing(field)->backgroundColor(), QColor(192, 192, 192, 77));
        const auto insets = [](const QTextEdit *field) {
            const QTextFrameFormat f = field->document()->rootFrame()->frameFormat();
            return QList<qreal>{f.topMargin(), f.leftMargin(), f.bottomMargin(), f.rightMargin()};
        };
        QCOMPARE(insets(view.nameTextView()), (QList<qreal>{10, 16, 0, 0}));
        QCOMPARE(insets(view.noteTextView()), (QList<qreal>{14, 16, 0, 0}));
        QCOMPARE(view.infoLabel()->text(), QStringLiteral("Tessivo\nVersion: ") + metadata::frameworkVersion());
        QCOMPARE(view.appVersionView()->text(), QStringLiteral("2.3(2.3)"));
        for (TagView *tag : {view.deviceTypeView(), view.iOSVersionView(), view.appVersionView()}) {
            QCOMPARE(tag->currentStyle(), TagViewStyle::outline);
            QCOMPARE(tag->width(), TagView::widthFor(tag->text()));
        }

        // Filling keeps the insets; placeholders stand in for empty texts.
        view.setMetadata(record(QStringLiteral("Ann"), QString()));
        view.fillFields();
        QCOMPARE(text(view.nameTextView()), QStringLiteral("Ann"));
        QCOMPARE(text(view.noteTextView()), QStringLiteral("Note: "));
        QCOMPARE(insets(view.noteTextView()), (QList<qreal>{14, 16, 0, 0}));
    }

    void firstKeystrokeClearsAPlaceholder()
    {
        NoteTextView view;
        view.fillFields();
        QCOMPARE(text(view.nameTextView()), QStringLiteral("Name: "));
        QTest::keyClicks(view.nameTextView(), QStringLiteral("Bo"));
        QCOMPARE(text(view.nameTextView()), QStringLiteral("Bo"));
        QTest::keyClicks(view.noteTextView(), QStringLiteral("Hi"));
        QCOMPARE(text(view.noteTextView()), QStringLiteral("Hi"));

        // Only the exact placeholder is cleared.
        view.setMetadata(record(QStringLiteral("Name: x"), QString()));
        view.fillFields();
        view.nameTextView()->moveCursor(QTextCursor::End);
        QTest::keyClicks(view.nameTextView(), QStringLiteral("y"));
        QCOMPARE(text(view.nameTextView()), QStringLiteral("Name: xy"));
    }

    void returnInTheNameMovesToTheNote()
    {
        NoteTextView view;
        view.resize(390, 330);
        view.show();
        QVERIFY(QTest::qWaitForWindowActive(&view));
        view.setMetadata(record(QStringLiteral("Ann"), QStringLiteral("Crash")));
        view.fillFields();
        view.nameTextView()->setFocus();
        view.nameTextView()->moveCursor(QTextCursor::End);
        QTRY_VERIFY(view.nameTextView()->hasFocus());

        QTest::keyClick(view.nameTextView(), Qt::Key_Return);
        QTRY_VERIFY(view.noteTextView()->hasFocus());
        QCOMPARE(text(view.nameTextView()), QStringLiteral("Ann\n"));
        QCOMPARE(text(view.noteTextView()), QStringLiteral("Crash"));
    }

    void preselectedNoteTypesAndDelegateCalls()
    {
        NoteTextView view;
        view.resize(390, 330);
        RecordingDelegate delegate;
        view.setDelegate(&delegate);
        view.setMetadata(record(QString(), QString(), {QStringLiteral("Bug"), QStringLiteral("Other")}));
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));

        CollectionView *types = view.noteTypeCollectionView();
        QCOMPARE(types->numberOfItems(), 4);
        for (int i = 0; i < 4; ++i) {
            auto *cell = qobject_cast<NoteTypeCollectionViewCell *>(types->cellForItem(i));
            QVERIFY(cell);
            QCOMPARE(cell->tagString(), noteTypes().at(i));
            const bool selected = i == 1 || i == 3;
            QCOMPARE(cell->isSelected(), selected);
            QCOMPARE(types->isItemSelected(i), selected);
            QCOMPARE(cell->tagView()->currentStyle(), selected ? TagViewStyle::selected : TagViewStyle::fill);
            QCOMPARE(cell->width(), TagView::widthFor(noteTypes().at(i)));
        }
        QVERIFY(delegate.calls.isEmpty()); // preselection is not a pick

        QSignalSpy selected(&view, &NoteTextView::noteTypeSelected);
        QTest::mouseClick(types->cellForItem(0), Qt::LeftButton);
        QTest::mouseClick(types->cellForItem(3), Qt::LeftButton);
        QCOMPARE(delegate.calls, (QStringList{QStringLiteral("+0"), QStringLiteral("-3")}));
        QCOMPARE(selected.count(), 1);
        QCOMPARE(types->selectedItems(), (QList<int>{0, 1}));
        QCOMPARE(qobject_cast<NoteTypeCollectionViewCell *>(types->cellForItem(3))->tagView()->currentStyle(),
                 TagViewStyle::fill);

        // A delegate that is gone is not called.
        auto *shortLived = new RecordingDelegate;
        view.setDelegate(shortLived);
        delete shortLived;
        QVERIFY(!view.delegate());
        QTest::mouseClick(types->cellForItem(2), Qt::LeftButton);
        QVERIFY(types->isItemSelected(2));
    }
};

QTEST_MAIN(NoteTextViewTest)
#include "tst_notetextview.moc"
