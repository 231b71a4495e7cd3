#include "metadata/TagView.h"
#include "platform/Bundle.h"
#include "platform/Layer.h"

#include <QApplication>
#include <QLabel>
#include <QTest>

using namespace tessivo;

namespace {
QColor named(const char *name, Appearance appearance)
{
    return *Bundle::kit().color(QString::fromLatin1(name), appearance);
}
QColor textColor(const TagView &tag)
{
    return tag.textLabel()->palette().color(QPalette::WindowText);
}
} // namespace

class TagViewTest : public QObject
{
    Q_OBJECT
private slots:
    void cleanup() { QApplication::setPalette(paletteFor(Appearance::light)); }

    void stylesUseTheNamedColours()
    {
        QApplication::setPalette(paletteFor(Appearance::light));
        TagView tag;
        QCOMPARE(Layer::existing(tag.view())->cornerRadius(), 11.0); // from the form

        tag.configure(TagViewStyle::fill, QStringLiteral("Feedback"));
        Layer *layer = Layer::existing(tag.view());
        QCOMPARE(tag.text(), QStringLiteral("Feedback"));
        QCOMPARE(layer->backgroundColor(), named("tagViewBackgroundColor", Appearance::light));
        QCOMPARE(layer->borderWidth(), 0.0);
        QCOMPARE(textColor(tag), named("tagViewTextColor", Appearance::light));

        tag.configure(TagViewStyle::selected, QStringLiteral("Bug"));
        QCOMPARE(tag.currentStyle(), TagViewStyle::selected);
        QCOMPARE(layer->backgroundColor(), named("tagViewSelectedColor", Appearance::light));
        QCOMPARE(textColor(tag), named("tagViewSelectedTextColor", Appearance::light));

        // Outline draws a border and leaves the text colour as it was.
        tag.configure(TagViewStyle::outline, QStringLiteral("Bug"));
        QVERIFY(!layer->backgroundColor().isValid());
        QCOMPARE(layer->borderWidth(), 1.0);
        QCOMPARE(layer->borderColor(), named("tagViewBorderColor", Appearance::light));
        QCOMPARE(textColor(tag), named("tagViewSelectedTextColor", Appearance::light));
    }

    void appearanceChangeRecolours()
    {
        QApplication::setPalette(paletteFor(Appearance::light));
        TagView fill;
        fill.configure(TagViewStyle::fill, QStringLiteral("Other"));
        TagView outline;
        outline.configure(TagViewStyle::outline, QStringLiteral("Debian 12"));

        QApplication::setPalette(paletteFor(Appearance::dark));
        QCoreApplication::processEvents();
        QCOMPARE(fill.currentStyle(), TagViewStyle::fill);
        QCOMPARE(fill.text(), QStringLiteral("Other"));
        QCOMPARE(Layer::existing(fill.view())->backgroundColor(),
                 named("tagViewBackgroundColor", Appearance::dark));
        QCOMPARE(textColor(fill), named("tagViewTextColor", Appearance::dark));
        QCOMPARE(Layer::existing(outline.view())->borderColor(),
                 named("tagViewBorderColor", Appearance::dark));

        QApplication::setPalette(paletteFor(Appearance::light));
        QCoreApplication::processEvents();
        QCOMPARE(Layer::existing(fill.view())->backgroundColor(),
                 named("tagViewBackgroundColor", Appearance::light));
    }

    void widthIsTextWidthPlusPadding()
    {
        const QFont font = TagView::font();
        QCOMPARE(font.pixelSize(), 11);
        QCOMPARE(font.weight(), QFont::DemiBold);
        const QString text = QStringLiteral("Suggestion");
        const qreal textWidth = QFontMetricsF(font).horizontalAdvance(text);
        QVERIFY(TagView::widthFor(text) >= textWidth + 18);
        QVERIFY(TagView::widthFor(text) < textWidth + 19);
        QCOMPARE(TagView::widthFor(QString()), 18);
    }
};

QTEST_MAIN(TagViewTest)
#include "tst_tagview.moc"
