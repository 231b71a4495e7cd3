#include "metadata/ActivityIndicatorView.h"
#include "core/TessivoKit.h"
#include "metadata/SharingMethodView.h"
#include "platform/Appearance.h"
#include "platform/Layer.h"

#include <QApplication>
#include <QGraphicsDropShadowEffect>
#include <QTest>

using namespace tessivo;

class SharingViewsTest : public QObject
{
    Q_OBJECT
private slots:
    void cleanup() { QApplication::setPalette(paletteFor(Appearance::light)); }

    void everyPickCallsBack()
    {
        SharingMethodView view;
        QCOMPARE(view.textLabel()->text(), QStringLiteral("Choose an option to share data"));
        QCOMPARE(Layer::existing(view.textLabel())->backgroundColor(), QColor(192, 192, 192, 77));
        QVERIFY(!view.selectedOption());

        // Without a callback a press only records the choice.
        QTest::mouseClick(view.otherButton(), Qt::LeftButton);
        QCOMPARE(view.selectedOption(), std::optional(ShareMethod::shareSheet));

        QList<std::optional<ShareMethod>> seen;
        view.setShareFunctionFromController([&] { seen.append(view.selectedOption()); });
        QTest::mouseClick(view.mondayButton(), Qt::LeftButton);
        QTest::mouseClick(view.mondayButton(), Qt::LeftButton);
        QTest::mouseClick(view.otherButton(), Qt::LeftButton);
        QCOMPARE(seen, (QList<std::optional<ShareMethod>>{ShareMethod::monday, ShareMethod::monday,
                                                           ShareMethod::shareSheet}));
    }

    void aTrelloConfigurationMakesTheTrackerButtonTrello()
    {
        auto trello = std::make_shared<TrelloConfigs>("list", "key", "token");
        trello->setShareMethod(ShareMethod::trello);
        TessivoKit::shared().optionalConfigs = trello;
        SharingMethodView toTrello;
        toTrello.mondayButtonAction();
        QCOMPARE(toTrello.selectedOption(), std::optional(ShareMethod::trello));
        QCOMPARE(toTrello.mondayButton()->text(), QString("Trello"));

        // Trello credentials left at their monday default keep monday.
        TessivoKit::shared().optionalConfigs = std::make_shared<TrelloConfigs>("list", "key", "token");
        SharingMethodView toMonday;
        toMonday.mondayButtonAction();
        QCOMPARE(toMonday.selectedOption(), std::optional(ShareMethod::monday));
        TessivoKit::shared().optionalConfigs.reset();
    }

    void overlayCardAndSpinnerFollowAppearance()
    {
        QApplication::setPalette(paletteFor(Appearance::light));
        ActivityIndicatorView overlay;
        const Layer *card = Layer::existing(overlay.view());
        QVERIFY(card);
        QCOMPARE(card->shadowOffset(), QPointF(0, 8));
        QCOMPARE(card->shadowRadius(), 16.0);
        QCOMPARE(card->shadowOpacity(), 0.08);
        QCOMPARE(card->shadowColor(), QColor(Qt::black));
        QCOMPARE(card->cornerRadius(), 25.0);
        QVERIFY(qobject_cast<QGraphicsDropShadowEffect *>(overlay.view()->graphicsEffect()));
        QCOMPARE(overlay.activityIndicator()->style(), ActivityIndicatorStyle::gray);

        QApplication::setPalette(paletteFor(Appearance::dark));
        QCoreApplication::processEvents();
        QCOMPARE(overlay.activityIndicator()->style(), ActivityIndicatorStyle::white);
        QCOMPARE(overlay.activityIndicator()->color(), QColor(Qt::white));

        QApplication::setPalette(paletteFor(Appearance::light));
        QCoreApplication::processEvents();
        QCOMPARE(overlay.activityIndicator()->style(), ActivityIndicatorStyle::gray);
    }
};

QTEST_MAIN(SharingViewsTest)
#include "tst_sharingviews.moc"
