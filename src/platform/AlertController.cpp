#include "platform/AlertController.h"

#include "platform/Device.h"
#include "platform/Layer.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace tessivo {
namespace {

constexpr int kAlertWidth = 270;
constexpr int kSheetWidth = 304;
constexpr int kMargin = 8;

QColor cardColor(Appearance a)
{
    return a == Appearance::dark ? QColor(44, 44, 46) : QColor(248, 248, 250);
}
QColor separatorColor(Appearance a)
{
    return a == Appearance::dark ? QColor(84, 84, 88) : QColor(60, 60, 67, 74);
}
QColor tintColor(Appearance a)
{
    return a == Appearance::dark ? QColor(10, 132, 255) : QColor(0, 122, 255);
}
QColor destructiveColor(Appearance a)
{
    return a == Appearance::dark ? QColor(255, 69, 58) : QColor(255, 59, 48);
}

QFrame *separator(QWidget *parent, Qt::Orientation orientation)
{
    auto *line = new QFrame(parent);
    line->setObjectName(QStringLiteral("separator"));
    if (orientation == Qt::Horizontal)
        line->setFixedHeight(1);
    else
        line->setFixedWidth(1);
    line->setAutoFillBackground(true);
    return line;
}

} // namespace

AlertController::AlertController(std::optional<QString> title, std::optional<QString> message,
                                 AlertControllerStyle preferredStyle, QWidget *parent)
    : ViewController(parent), m_alertTitle(std::move(title)), m_message(std::move(message)),
      m_style(preferredStyle)
{
    setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    setModalTransitionStyle(ModalTransitionStyle::crossDissolve);
    setObjectName(QStringLiteral("AlertController"));
    if (Device::userInterfaceIdiom() == UserInterfaceIdiom::pad)
        m_popover.emplace();

    m_card = new QWidget(this);
    m_card->setObjectName(QStringLiteral("alertCard"));
    Layer::of(m_card)->setCornerRadius(14);
    m_cardLayout = new QVBoxLayout(m_card);
    m_cardLayout->setContentsMargins(0, 0, 0, 0);
    m_cardLayout->setSpacing(0);

    auto *header = new QWidget(m_card);
    header->setObjectName(QStringLiteral("alertHeader"));
    auto *headerLayout = new QVBoxLayout(header);
    headerLayout->setContentsMargins(16, 18, 16, 14);
    headerLayout->setSpacing(4);
    m_titleLabel = new QLabel(header);
    m_titleLabel->setObjectName(QStringLiteral("alertTitle"));
    m_titleLabel->setAlignment(Qt::AlignCenter);
    m_titleLabel->setWordWrap(true);
    QFont titleFont = m_titleLabel->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * (m_style == AlertControllerStyle::alert ? 1.1 : 0.95));
    m_titleLabel->setFont(titleFont);
    m_messageLabel = new QLabel(header);
    m_messageLabel->setObjectName(QStringLiteral("alertMessage"));
    m_messageLabel->setAlignment(Qt::AlignCenter);
    m_messageLabel->setWordWrap(true);
    headerLayout->addWidget(m_titleLabel);
    headerLayout->addWidget(m_messageLabel);
    m_fields = new QWidget(header);
    auto *fieldsLayout = new QVBoxLayout(m_fields);
    fieldsLayout->setContentsMargins(0, 8, 0, 0);
    fieldsLayout->setSpacing(6);
    headerLayout->addWidget(m_fields);
    m_cardLayout->addWidget(header);

    m_buttons = new QWidget(m_card);
    m_cardLayout->addWidget(m_buttons);
}

AlertController::~AlertController() = default;

void AlertController::addAction(const AlertAction &action)
{
    m_actions.append(action);
}

void AlertController::addTextField(const std::function<void(QLineEdit *)> &configure)
{
    if (m_style != AlertControllerStyle::alert)
        qFatal("Text fields can only be added to an alert controller of style alert");
    auto *field = new QLineEdit(m_fields);
    field->setObjectName(QStringLiteral("alertTextField"));
    field->setMinimumHeight(28);
    if (configure)
        configure(field);
    m_fields->layout()->addWidget(field);
}

QList<QLineEdit *> AlertController::textFields() const
{
    return m_fields->findChildren<QLineEdit *>(QString(), Qt::FindDirectChildrenOnly);
}

PopoverPresentation *AlertController::popoverPresentationController()
{
    return m_popover ? &*m_popover : nullptr;
}

std::optional<int> AlertController::cancelIndex() const
{
    for (int i = 0; i < m_actions.size(); ++i) {
        if (m_actions[i].style() == AlertActionStyle::cancel)
            return i;
    }
    return std::nullopt;
}

void AlertController::viewDidLoad()
{
    m_titleLabel->setText(m_alertTitle.value_or(QString()));
    m_titleLabel->setVisible(m_alertTitle && !m_alertTitle->isEmpty());
    m_messageLabel->setText(m_message.value_or(QString()));
    m_messageLabel->setVisible(m_message && !m_message->isEmpty());
    m_fields->setVisible(!textFields().isEmpty());
    if (auto *header = m_card->findChild<QWidget *>(QStringLiteral("alertHeader")))
        header->setVisible(m_titleLabel->isVisibleTo(m_card) || m_messageLabel->isVisibleTo(m_card)
                           || m_fields->isVisibleTo(m_card));
    buildButtons();
    applyColors();
    layoutCard();
    if (!textFields().isEmpty())
        textFields().first()->setFocus();
}

void AlertController::buildButtons()
{
    // A cancel action goes last in a column and first in a pair, as the
    // platform lays them out.
    QList<int> order;
    for (int i = 0; i < m_actions.size(); ++i) {
        if (i != cancelIndex())
            order.append(i);
    }
    const bool pair = m_style == AlertControllerStyle::alert && m_actions.size() == 2;
    if (const auto cancel = cancelIndex())
        pair ? order.prepend(*cancel) : order.append(*cancel);

    QBoxLayout *layout = pair ? static_cast<QBoxLayout *>(new QHBoxLayout(m_buttons))
                              : static_cast<QBoxLayout *>(new QVBoxLayout(m_buttons));
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    const bool hasHeader = (m_alertTitle && !m_alertTitle->isEmpty()) || (m_message && !m_message->isEmpty())
        || !textFields().isEmpty();
    if (!m_actions.isEmpty() && hasHeader)
        m_cardLayout->insertWidget(m_cardLayout->indexOf(m_buttons), separator(m_card, Qt::Horizontal));

    for (int n = 0; n < order.size(); ++n) {
        const int index = order[n];
        const AlertAction &action = m_actions[index];
        if (n > 0)
            layout->addWidget(separator(m_buttons, pair ? Qt::Vertical : Qt::Horizontal));
        auto *button = new QPushButton(action.title(), m_buttons);
        button->setObjectName(QStringLiteral("alertAction%1").arg(index));
        button->setFlat(true);
        button->setMinimumHeight(44);
        button->setCursor(Qt::PointingHandCursor);
        button->setEnabled(action.isEnabled());
        button->setProperty("alertStyle", static_cast<int>(action.style()));
        QFont font = button->font();
        font.setPointSizeF(font.pointSizeF() * 1.1);
        font.setBold(action.style() == AlertActionStyle::cancel);
        button->setFont(font);
        connect(button, &QPushButton::clicked, this, [this, index] { tapAction(index); });
        layout->addWidget(button, 1);
        m_buttonWidgets.append(button);
    }
}

void AlertController::applyColors()
{
    const Appearance a = appearanceOf(this);
    Layer::of(m_card)->setBackgroundColor(cardColor(a));
    for (auto *line : m_card->findChildren<QFrame *>(QStringLiteral("separator"))) {
        QPalette p = line->palette();
        p.setColor(QPalette::Window, separatorColor(a));
        line->setPalette(p);
    }
    for (const auto &button : m_buttonWidgets) {
        if (!button)
            continue;
        const auto style = static_cast<AlertActionStyle>(button->property("alertStyle").toInt());
        const QColor color = style == AlertActionStyle::destructive ? destructiveColor(a) : tintColor(a);
        button->setStyleSheet(QStringLiteral("QPushButton { color: %1; border: none; padding: 0 12px; }"
                                             "QPushButton:disabled { color: %2; }"
                                             "QPushButton:hover { background: %3; }")
                                  .arg(color.name(), separatorColor(a).name(QColor::HexArgb),
                                       separatorColor(a).name(QColor::HexArgb)));
    }
}

void AlertController::traitCollectionDidChange(Appearance)
{
    applyColors();
}

void AlertController::layoutCard()
{
    const int width = m_style == AlertControllerStyle::alert
        ? kAlertWidth
        : (m_popover ? kSheetWidth : std::max(0, this->width() - 2 * kMargin));
    m_card->setFixedWidth(width);
    const int height = m_card->layout()->heightForWidth(width) > 0
        ? m_card->layout()->heightForWidth(width)
        : m_card->sizeHint().height();
    m_card->setFixedHeight(height);

    QRect frame(0, 0, width, height);
    if (m_popover && m_popover->sourceView && m_popover->sourceView->window() != window())
        return; // not on the presenter's window yet: laid out once attached
    if (m_popover && m_popover->sourceView) {
        // The popover points at the centre of its source rectangle; with no
        // arrow permitted it is centred there.
        const QPoint inWindow =
            m_popover->sourceView->mapTo(window(), m_popover->sourceRect.center().toPoint());
        frame.moveCenter(mapFrom(window(), inWindow));
    } else if (m_style == AlertControllerStyle::actionSheet && !m_popover) {
        frame.moveTopLeft(QPoint((this->width() - width) / 2, this->height() - kMargin - height));
    } else {
        frame.moveCenter(rect().center());
    }
    m_card->setGeometry(frame);
}

void AlertController::resizeEvent(QResizeEvent *event)
{
    ViewController::resizeEvent(event);
    layoutCard();
}

void AlertController::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), QColor(0, 0, 0, appearanceOf(this) == Appearance::dark ? 120 : 80));
}

bool AlertController::escapePressed()
{
    const auto cancel = cancelIndex();
    if (!cancel || m_handled)
        return false;
    tapAction(*cancel);
    return true;
}

void AlertController::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        for (int i = 0; i < m_actions.size(); ++i) {
            if (m_actions[i].style() != AlertActionStyle::cancel && m_actions[i].isEnabled()) {
                tapAction(i);
                return;
            }
        }
    }
    ViewController::keyPressEvent(event);
}

void AlertController::mousePressEvent(QMouseEvent *event)
{
    // Outside an action sheet means cancel, as a tap outside a popover does.
    if (m_style == AlertControllerStyle::actionSheet && !m_card->geometry().contains(event->pos())) {
        if (const auto cancel = cancelIndex())
            tapAction(*cancel);
        return;
    }
    ViewController::mousePressEvent(event);
}

void AlertController::tapAction(int index)
{
    if (m_handled || index < 0 || index >= m_actions.size() || !m_actions[index].isEnabled())
        return;
    m_handled = true;
    const AlertAction action = m_actions[index];
    // The handler runs once the alert is gone, so that it can present.
    dismiss(true, [action] {
        if (action.handler())
            action.handler()(action);
    });
}

} // namespace tessivo
