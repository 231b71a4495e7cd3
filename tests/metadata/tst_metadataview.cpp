#include "TestSupport.h"

#include "metadata/DeviceMetadata.h"
#include "metadata/MetadataTexts.h"
#include "metadata/MetadataView.h"
#include "metadata/NoteTypeCollectionViewCell.h"
#include "metadata/VideoMetadataView.h"
#include "platform/Bundle.h"
#include "platform/Device.h"
#include "platform/UserDefaults.h"

#include <QApplication>
#include <QRegularExpression>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

using namespace tessivo;

namespace {

CaptureInfo report(const QString &author, const QString &note, QStringList types = {})
{
    CaptureInfo info;
    info.author = author;
    info.note = note;
    info.selectedNoteTypes = std::move(types);
    return info;
}

/// The label's rich text as (text, bold) fragments.
QList<std::pair<QString, bool>> boldRuns(const QString &html)
{
    QTextDocument document;
    document.setHtml(html);
    QList<std::pair<QString, bool>> runs;
    for (auto it = document.begin().begin(); !it.atEnd(); ++it) {
        const QTextFragment fragment = it.fragment();
        runs.append({fragment.text(), fragment.charFormat().fontWeight() >= QFont::DemiBold});
    }
    return runs;
}

using Runs = QList<std::pair<QString, bool>>;

} // namespace

class MetadataViewTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        qApp->setApplicationVersion(QStringLiteral("2.3"));
        qApp->setProperty("CFBundleVersion", QStringLiteral("41"));
        qApp->setProperty("CFBundleDisplayName", QStringLiteral("Demo"));
    }

    void noteTextBoldRuns_data()
    {
        QTest::addColumn<QString>("author");
        QTest::addColumn<QString>("anonymous");
        QTest::addColumn<QString>("plain");
        QTest::addColumn<Runs>("runs");
        QTest::newRow("author") << "Ann" << "Brown Koala" << "Ann: Crash on save"
                                << Runs{{"Ann: ", true}, {"Crash on save", false}};
        QTest::newRow("anonymous, no separator")
            << "" << "Brown Koala" << "Brown KoalaCrash on save"
            << Runs{{"Brown Koala", true}, {"Crash on save", false}};
        QTest::newRow("note only") << "" << "" << "Crash on save" << Runs{{"Crash on save", false}};
    }

    void noteTextBoldRuns()
    {
        QFETCH(QString, author);
        QFETCH(QString, anonymous);
        QFETCH(QString, plain);
        QFETCH(Runs, runs);
        test::TemporaryDefaults defaults;
        if (!anonymous.isEmpty())
            UserDefaults::standard().setString(anonymous, QStringLiteral("anonymousAuthor"));

        const CaptureInfo info = report(author, QStringLiteral("Crash on save"));
        const AttributedText text = metadata::noteAttributedText(info, MetadataView::noteFont());
        QCOMPARE(text.string(), plain);
        if (!text.runs().isEmpty() && runs.first().second)
            QCOMPARE(text.runs().first().font.pixelSize(), 15);

        // What the card's label shows.
        MetadataView card;
        card.setMetadata(info);
        QCOMPARE(boldRuns(card.noteLabel()->text()), runs);
    }

    void reportSummaryLines()
    {
        test::TemporaryDefaults defaults;
        MetadataView card;
        card.setMetadata(report(QStringLiteral("Ann"), QStringLiteral("Crash on save")));
        const QString date = card.layoutTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
        QVERIFY(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d$")).match(date).hasMatch());
        QCOMPARE(card.userInfoLabel()->text(), Device::name() + QStringLiteral(", ") + date);

        const QStringList expected{
            QStringLiteral("Demo"),
            QStringLiteral("App version: 2.3(41)"),
            QString(),
            QStringLiteral("Ann: Crash on save"),
            QString(),
            Device::name() + QStringLiteral(", ") + date,
            QStringLiteral("Device: ") + metadata::deviceModelName() + QStringLiteral(" | OS version: ")
                + Device::systemVersion(),
            QStringLiteral("Powered by Tessiov"),
        };
        QCOMPARE(card.reportSummary().split(QLatin1Char('\n')), expected);
        QVERIFY(!card.reportSummary().endsWith(QLatin1Char('\n')));
    }

    void appLinesAndDeviceLine()
    {
        MetadataView card;
        QCOMPARE(card.appNameLabel()->text(), QStringLiteral("Demo"));
        QCOMPARE(boldRuns(card.appVersionLabel()->text()),
                 (Runs{{"App version: ", false}, {"2.3(41)", true}}));
        QCOMPARE(card.versionTag()->text(), QStringLiteral("2.3(41)"));
        QCOMPARE(card.versionTag()->currentStyle(), TagViewStyle::outline);
        QCOMPARE(card.deviceOSVersionTag()->text(), metadata::osVersionText());
        QCOMPARE(card.deviceTypeTag()->width(), TagView::widthFor(metadata::deviceModelName()));
        QVERIFY(card.appIconImageView()->isHidden()); // this host has no icon

        for (Appearance appearance : {Appearance::light, Appearance::dark}) {
            card.setPalette(paletteFor(appearance));
            const AttributedText line = card.deviceLineText();
            const QColor primary = *Bundle::kit().color(QStringLiteral("primaryLabelColor"), appearance);
            QCOMPARE(line.runs().size(), 4);
            for (int i = 0; i < 4; ++i) {
                QCOMPARE(line.runs().at(i).color, std::optional<QColor>(primary));
                QCOMPARE(line.runs().at(i).font.bold(), i % 2 == 1);
            }
        }
    }

    void noteTypesCollection()
    {
        MetadataView card;
        card.setMetadata(report(QString(), QString(), {QStringLiteral("Bug"), QStringLiteral("Other")}));
        CollectionView *types = card.collectionView();
        QCOMPARE(types->numberOfItems(), 2);
        const QStringList shown{QStringLiteral("Bug"), QStringLiteral("Other")};
        for (int i = 0; i < 2; ++i) {
            auto *cell = qobject_cast<NoteTypeCollectionViewCell *>(types->cellForItem(i));
            QVERIFY(cell);
            QCOMPARE(cell->tagString(), shown.at(i));
            QCOMPARE(cell->tagView()->currentStyle(), TagViewStyle::fill);
        }
        card.setMetadata(report(QString(), QString()));
        QCOMPARE(types->numberOfItems(), 0);
    }

    void videoCardTakesTheRecordAndTheFrameSize()
    {
        VideoMetadataView video;
        video.setMetadata(report(QStringLiteral("Ann"), QStringLiteral("Crash on save")));
        QCOMPARE(video.metadataView()->metadata().author, QStringLiteral("Ann"));
        QCOMPARE(video.metadataView()->reportSummary().split(QLatin1Char('\n')).at(3),
                 QStringLiteral("Ann: Crash on save"));

        const QImage frame = video.renderFrame(QSize(780, 1688), 2.0);
        QCOMPARE(frame.size(), QSize(780, 1688));
        QCOMPARE(video.size(), QSize(390, 844));
        // The card sits inside the frame, narrower and much shorter.
        const QRect card = video.metadataView()->geometry();
        QVERIFY(card.width() < 390 && card.width() > 300);
        QVERIFY(card.height() > 100 && card.height() < 422);
    }
};

QTEST_MAIN(MetadataViewTest)
#include "tst_metadataview.moc"
