#include "core/TestingNotesViewController.h"

#include "core/TessivoKit.h"
#include "metadata/DeviceMetadata.h"
#include "platform/Bundle.h"
#include "platform/ContentView.h"
#include "platform/MotionSource.h"
#include "platform/VisualEffectView.h"
#include "ui_TestingNotesViewController.h"

#include <QAbstractTextDocumentLayout>
#include <QBoxLayout>
#include <QCoreApplication>
#include <QLabel>

#include <cmath>
#include <QPushButton>
#include <QScrollBar>
#include <QTextDocument>
#include <QTextEdit>
#include <QResizeEvent>
#include <QWheelEvent>

namespace tessivo {

TestingNotesViewController::TestingNotesViewController(QWidget *parent)
    : ViewController(parent), m_ui(std::make_unique<Ui::TestingNotesViewController>())
{
    loadContentView(this, *m_ui);
    appIconImageView = m_ui->appIconImageView;
    appNameLabel = m_ui->appNameLabel;
    appVersionLabel = m_ui->appVersionLabel;
    notesTextView = m_ui->notesTextView;
    gestureImageView = m_ui->gestureImageView;
    gestureInfoLabel = m_ui->gestureInfoLabel;
    testingNotesLabel = m_ui->testingNotesLabel;
    helperView = m_ui->helperView;
    notesTextViewBottomConstraint =
        LayoutConstraint(m_ui->notesTextViewBottomSpace, LayoutConstraint::Attribute::height);
    testingNotesLabelHeightConstraint =
        LayoutConstraint(m_ui->testingNotesLabel, LayoutConstraint::Attribute::height);
    testingNotesLabelTopConstraint =
        LayoutConstraint(m_ui->testingNotesLabelTopSpace, LayoutConstraint::Attribute::height);
    visualEffectView = m_ui->visualEffectView;
    desktopShakeLabel = new QLabel(m_ui->gestureInfoLabel->parentWidget());
    desktopShakeLabel->setObjectName(QStringLiteral("desktopShakeLabel"));
    desktopShakeLabel->setAlignment(Qt::AlignCenter);
    desktopShakeLabel->setWordWrap(true);
    if (auto *column = qobject_cast<QBoxLayout *>(m_ui->gestureInfoLabel->parentWidget()->layout()))
        column->insertWidget(column->indexOf(m_ui->gestureInfoLabel) + 1, desktopShakeLabel);
    connect(m_ui->beginTestingButton, &QPushButton::clicked, this, [this] { beginTesting(); });
    notesTextView->viewport()->installEventFilter(this);
}

TestingNotesViewController::~TestingNotesViewController() = default;

void TestingNotesViewController::viewDidLoad()
{
    ViewController::viewDidLoad();
    requireOutlet(appNameLabel.data(), "appNameLabel")->setText(metadata::appDisplayName().value_or(QString()));
    const auto icon = metadata::appIconImage();
    requireOutlet(appIconImageView.data(), "appIconImageView")
        ->setPixmap(icon ? QPixmap::fromImage(*icon) : QPixmap());
    appIconImageView->setVisible(icon.has_value());

    requireOutlet(appVersionLabel.data(), "appVersionLabel")
        ->setText(QStringLiteral("App version: <b style=\"font-size:8pt\">%1</b>")
                      .arg(metadata::appVersionText().toHtmlEscaped()));

    const bool hasNotes = !TessivoKit::shared().testingNotes.isEmpty();
    requireOutlet(testingNotesLabel.data(), "testingNotesLabel")->setHidden(!hasNotes);
    notesTextViewBottomConstraint.setConstant(hasNotes ? 20.0 : 0.0);
    testingNotesLabelHeightConstraint.setConstant(hasNotes ? 16.0 : 0.0);
    testingNotesLabelTopConstraint.setConstant(hasNotes ? 15.0 : 0.0);

    const bool fourFingers = TessivoKit::shared().feedbackGesture == TessivoKit::FeedbackGesture::fourFingers;
    const QImage gesture = Bundle::kit().image(fourFingers ? QStringLiteral("icon_4fingers")
                                                           : QStringLiteral("icon_shake"),
                                               devicePixelRatioF());
    requireOutlet(gestureImageView.data(), "gestureImageView")->setPixmap(QPixmap::fromImage(gesture));
    requireOutlet(gestureInfoLabel.data(), "gestureInfoLabel")
        ->setText(fourFingers ? QStringLiteral("4 FINGER SWIPE FOR QUICK FEEDBACK")
                              : QStringLiteral("SHAKE TO ACTIVATE THE FEEDBACK TOOLS"));
    // No motion sensor: say how a shake is made here. Only the shake
    // gesture listens to it.
    const MotionSource &motion = MotionSource::shared();
    QString shake = fourFingers || motion.hasMotionSensor() ? QString() : motion.shakeInstructions();
    if (!shake.isEmpty())
        shake = QStringLiteral("On this computer: %1").arg(shake);
    desktopShakeLabel->setText(shake);
    desktopShakeLabel->setHidden(shake.isEmpty());
    applyBackdrop();
    applyColors();
}

void TestingNotesViewController::viewWillAppear(bool animated)
{
    ViewController::viewWillAppear(animated);
    QTextEdit *notes = requireOutlet(notesTextView.data(), "notesTextView");
    notes->setPlainText(TessivoKit::shared().testingNotes);
    notes->setVisible(!TessivoKit::shared().testingNotes.isEmpty());
    if (QWidget *root = window(); root && root != this)
        resize(root->size());
    arrangeCard();
}

void TestingNotesViewController::resizeEvent(QResizeEvent *event)
{
    ViewController::resizeEvent(event);
    if (hasAppeared())
        arrangeCard();
}

void TestingNotesViewController::arrangeCard()
{
    // A landscape window shows the card in two columns (the app and its
    // notes; the gesture and the button), so that it fits a short window
    // and uses a wide one; a portrait window stacks them.
    const bool wide = width() > height() && width() >= 600;
    m_ui->cardLayout->setDirection(wide ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    m_ui->cardLayout->setSpacing(wide ? 32 : 6);
    helperView->setMaximumWidth(wide ? 880 : 440);
    fitNotes();
}

void TestingNotesViewController::fitNotes()
{
    QTextEdit *notes = requireOutlet(notesTextView.data(), "notesTextView");
    // Lay everything out now, so that the text view has its real width.
    if (layout())
        layout()->activate();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);

    // The height the notes need at the text view's width, with the box's
    // own frame and the style sheet's padding around the text.
    const qreal margin = notes->document()->documentMargin();
    QTextDocument measure;
    measure.setDefaultFont(notes->font());
    measure.setDocumentMargin(0);
    measure.setPlainText(notes->toPlainText());
    measure.setTextWidth(std::max<qreal>(1, notes->viewport()->width() - 2 * margin));
    const int chrome = notes->height() - notes->viewport()->height();
    const qreal needed = measure.size().height() + 2 * margin + chrome;
    // The room the window leaves the box beside the rest of the card.
    QWidget *column = m_ui->cardLayout->direction() == QBoxLayout::LeftToRight ? m_ui->aboutColumn : helperView.data();
    const int outer = m_ui->centering->contentsMargins().top() + m_ui->centering->contentsMargins().bottom();
    const int rest = column->sizeHint().height() - notes->height()
        + (column == helperView ? 0 : m_ui->cardLayout->contentsMargins().top() + m_ui->cardLayout->contentsMargins().bottom());
    const qreal room = std::max<qreal>(3 * notes->fontMetrics().lineSpacing() + chrome, height() - outer - rest);
    const bool scrolls = needed > height() * 0.2 || needed > room;
    setNotesScrollEnabled(scrolls);
    // Short notes show whole; long ones get a window of their own to scroll.
    notes->setFixedHeight(static_cast<int>(std::ceil(scrolls ? std::min({needed, height() * 0.45, room}) : needed)));
}

void TestingNotesViewController::setNotesScrollEnabled(bool enabled)
{
    m_notesScroll = enabled;
    notesTextView->setVerticalScrollBarPolicy(enabled ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    notesTextView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    if (!enabled)
        notesTextView->verticalScrollBar()->setValue(0);
}

bool TestingNotesViewController::eventFilter(QObject *watched, QEvent *event)
{
    // Short notes stay put: the wheel does not scroll them.
    if (notesTextView && watched == notesTextView->viewport() && event->type() == QEvent::Wheel
        && !m_notesScroll) {
        event->ignore();
        return true;
    }
    return ViewController::eventFilter(watched, event);
}

void TestingNotesViewController::traitCollectionDidChange(Appearance previous)
{
    ViewController::traitCollectionDidChange(previous);
    applyBackdrop();
    applyColors();
}

// The backdrop is inverted on purpose: dark in light appearance.
void TestingNotesViewController::applyBackdrop()
{
    if (visualEffectView)
        visualEffectView->setEffect(appearanceOf(this) == Appearance::light ? BlurEffectStyle::dark
                                                                            : BlurEffectStyle::light);
}

void TestingNotesViewController::applyColors()
{
    const bool dark = appearanceOf(this) == Appearance::dark;
    const QColor accent = Bundle::kit().color(QStringLiteral("tagViewSelectedColor"), this).value_or(QColor(91, 76, 240));
    const QColor card = dark ? QColor(28, 28, 30) : QColor(255, 255, 255);
    const QColor secondary = dark ? QColor(174, 174, 178) : QColor(99, 99, 102);
    Layer *cardLayer = Layer::of(helperView);
    cardLayer->setBackgroundColor(card);
    cardLayer->setShadow(QPointF(0, 10), 24, dark ? 0.5 : 0.25);

    QFont name = appNameLabel->font();
    name.setPointSizeF(19);
    name.setBold(true);
    appNameLabel->setFont(name);
    appVersionLabel->setStyleSheet(QStringLiteral("color: %1;").arg(secondary.name()));
    QFont heading = testingNotesLabel->font();
    heading.setPointSizeF(9.5);
    heading.setBold(true);
    heading.setLetterSpacing(QFont::AbsoluteSpacing, 1.2);
    testingNotesLabel->setFont(heading);
    testingNotesLabel->setStyleSheet(QStringLiteral("color: %1;").arg(secondary.name()));
    notesTextView->setStyleSheet(QStringLiteral("QTextEdit { background: %1; border-radius: 12px; padding: 6px; }")
                                     .arg((dark ? QColor(44, 44, 46) : QColor(242, 242, 247)).name()));
    QFont info = gestureInfoLabel->font();
    info.setPointSizeF(9.5);
    info.setBold(true);
    info.setLetterSpacing(QFont::AbsoluteSpacing, 0.8);
    gestureInfoLabel->setFont(info);
    gestureInfoLabel->setStyleSheet(QStringLiteral("color: %1;").arg(accent.name()));
    desktopShakeLabel->setStyleSheet(QStringLiteral("color: %1;").arg(secondary.name()));
    m_ui->beginTestingButton->setStyleSheet(
        QStringLiteral("QPushButton { background: %1; color: white; border: none; border-radius: 12px;"
                       " font-weight: bold; font-size: 11pt; }"
                       "QPushButton:pressed { background: %2; }")
            .arg(accent.name(), accent.darker(120).name()));
}

void TestingNotesViewController::beginTesting()
{
    dismiss(true);
}

} // namespace tessivo
