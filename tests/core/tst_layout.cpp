// Every kit screen at every window size, light and dark, at the process's
// screen scale (ctest runs this at 1, 1.25, 1.5 and 2): no label or button
// whose text does not fit the room it has, no laid-out siblings on top of
// each other, no control outside the window or cut by its parent.
#include "KitScreens.h"
#include "TestSupport.h"

#include "platform/ViewController.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QGridLayout>
#include <QLabel>
#include <QtMath>
#include <QLayout>
#include <QLineEdit>
#include <QTest>
#include <QTextEdit>

using namespace tessivo;

namespace {

bool isKitWidget(const QWidget *widget)
{
    for (const QWidget *w = widget; w; w = w->parentWidget()) {
        if (qobject_cast<const ViewController *>(w))
            return true;
    }
    return false;
}

QString nameOf(const QWidget *widget)
{
    QString text;
    if (auto *label = qobject_cast<const QLabel *>(widget))
        text = label->text();
    else if (auto *button = qobject_cast<const QAbstractButton *>(widget))
        text = button->text();
    const QString name = widget->objectName().isEmpty() ? QString() : QStringLiteral("#") + widget->objectName();
    return QStringLiteral("%1%2 \"%3\"").arg(widget->metaObject()->className(), name, text.left(40));
}

/// Where a widget's text needs more room than it was given.
QString clippedText(const QWidget *widget)
{
    const QSize has = widget->size();
    if (auto *label = qobject_cast<const QLabel *>(widget)) {
        if (label->text().isEmpty() || !label->pixmap().isNull())
            return {};
        if (label->text().contains(QChar(0x2026)))
            return QStringLiteral("elided");
        if (label->wordWrap()) {
            const int needed = label->heightForWidth(has.width());
            if (needed > has.height() || label->minimumSizeHint().width() > has.width())
                return QStringLiteral("needs %1 px high, has %2x%3").arg(needed).arg(has.width()).arg(has.height());
            return {};
        }
    } else if (auto *button = qobject_cast<const QAbstractButton *>(widget)) {
        if (button->text().isEmpty())
            return {};
    } else if (auto *text = qobject_cast<const QTextEdit *>(widget)) {
        // A box that does not scroll must show all of its text.
        const int room = text->viewport()->height();
        const int needed = qCeil(text->document()->size().height());
        if (text->verticalScrollBarPolicy() == Qt::ScrollBarAlwaysOff && needed > room + 1)
            return QStringLiteral("needs %1 px high, shows %2").arg(needed).arg(room);
        return {};
    } else {
        return {};
    }
    const QSize needed = widget->sizeHint();
    if (needed.width() > has.width() || needed.height() > has.height())
        return QStringLiteral("needs %1x%2, has %3x%4")
            .arg(needed.width()).arg(needed.height()).arg(has.width()).arg(has.height());
    return {};
}

/// The widgets that `layout` places, through its nested layouts, each with
/// the grid cell it shares with the widgets stacked in it on purpose.
void laidOut(QLayout *layout, QList<std::pair<QWidget *, int>> &widgets, int cell = -1)
{
    auto *grid = qobject_cast<QGridLayout *>(layout);
    for (int i = 0; i < layout->count(); ++i) {
        int row = 0, column = 0, rows = 0, columns = 0;
        if (grid && cell < 0)
            grid->getItemPosition(i, &row, &column, &rows, &columns);
        const int itemCell = grid && cell < 0 ? row * 1000 + column : cell;
        QLayoutItem *item = layout->itemAt(i);
        if (QWidget *w = item->widget())
            widgets.append({w, itemCell});
        else if (QLayout *inner = item->layout())
            laidOut(inner, widgets, itemCell);
    }
}

/// The part of `widget` that its ancestors let show, in window coordinates;
/// content of a scrolling area counts as shown (it scrolls into view).
QRect shownPart(const QWidget *widget, const QWidget *window)
{
    QRect shown(widget->mapTo(window, QPoint(0, 0)), widget->size());
    for (const QWidget *p = widget->parentWidget(); p && p != window; p = p->parentWidget()) {
        if (auto *area = qobject_cast<const QAbstractScrollArea *>(p->parentWidget()); area && area->viewport() == p)
            return QRect(widget->mapTo(window, QPoint(0, 0)), widget->size());
        shown &= QRect(p->mapTo(window, QPoint(0, 0)), p->size());
    }
    return shown & window->rect();
}

QStringList layoutFaults(QWidget *window)
{
    QStringList faults;
    const QList<QWidget *> all = window->findChildren<QWidget *>();
    for (QWidget *w : all) {
        if (!w->isVisible() || !isKitWidget(w) || w->size().isEmpty())
            continue;
        if (const QString clip = clippedText(w); !clip.isEmpty())
            faults << QStringLiteral("clipped text: %1 %2").arg(nameOf(w), clip);
        const bool control = qobject_cast<QAbstractButton *>(w) || qobject_cast<QLineEdit *>(w)
            || qobject_cast<QTextEdit *>(w) || (qobject_cast<QLabel *>(w) && !static_cast<QLabel *>(w)->text().isEmpty());
        if (control) {
            const QRect full(w->mapTo(window, QPoint(0, 0)), w->size());
            if (shownPart(w, window) != full)
                faults << QStringLiteral("outside the window or its parent: %1 at %2,%3 %4x%5")
                              .arg(nameOf(w)).arg(full.x()).arg(full.y()).arg(full.width()).arg(full.height());
        }
        if (!w->layout())
            continue;
        QList<std::pair<QWidget *, int>> placed;
        laidOut(w->layout(), placed);
        placed.removeIf([](const auto &c) { return !c.first->isVisible() || c.first->size().isEmpty(); });
        for (int i = 0; i < placed.size(); ++i) {
            for (int j = i + 1; j < placed.size(); ++j) {
                if (placed[i].second >= 0 && placed[i].second == placed[j].second)
                    continue;
                QWidget *a = placed[i].first;
                QWidget *b = placed[j].first;
                const QRect common = a->geometry() & b->geometry();
                if (common.width() > 1 && common.height() > 1)
                    faults << QStringLiteral("overlapping: %1 and %2").arg(nameOf(a), nameOf(b));
            }
        }
    }
    faults.removeDuplicates();
    return faults;
}

} // namespace

class LayoutTest : public QObject
{
    Q_OBJECT
    test::TemporaryDefaults m_defaults;

private Q_SLOTS:
    void initTestCase() { QCoreApplication::setApplicationVersion(QStringLiteral("2.4.1")); }

    void everyScreenFitsEveryWindow_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("dark");
        // The host window sizes of screens from 640x480 to 3840x2160 at
        // their usual scales, in the window's own points.
        const QList<QSize> sizes{{640, 480}, {1024, 640}, {1280, 720}, {1920, 1080}};
        const bool scaled = qEnvironmentVariableIsSet("QT_SCALE_FACTOR")
            && qEnvironmentVariable("QT_SCALE_FACTOR") != QLatin1String("1");
        const QList<test::KitScreen> screens = test::kitScreens();
        for (int s = 0; s < screens.size(); ++s) {
            for (const QSize &size : sizes) {
                for (bool dark : {false, true}) {
                    if (dark && scaled)
                        continue; // the scales share the light run's geometry checks
                    QTest::addRow("%s %dx%d %s", qPrintable(screens[s].name), size.width(), size.height(),
                                  dark ? "dark" : "light")
                        << s << size << dark;
                }
            }
        }
    }

    void everyScreenFitsEveryWindow()
    {
        QFETCH(int, screen);
        QFETCH(QSize, size);
        QFETCH(bool, dark);
        QApplication::setPalette(paletteFor(dark ? Appearance::dark : Appearance::light));
        std::unique_ptr<QWidget> host(test::makeHostWindow(size));
        host->show();
        QVERIFY(QTest::qWaitForWindowExposed(host.get()));
        test::kitScreens().at(screen).open(host.get());
        test::settleScreens();
        QCOMPARE(host->size(), size);
        const QStringList faults = layoutFaults(host.get());
        if (!faults.isEmpty())
            QFAIL(qPrintable(faults.join(QStringLiteral("\n   "))));
    }
};

QTEST_MAIN(LayoutTest)
#include "tst_layout.moc"
