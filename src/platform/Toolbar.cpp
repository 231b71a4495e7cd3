#include "platform/Toolbar.h"

#include <QHBoxLayout>
#include <QPainter>

namespace tessivo {

Toolbar::Toolbar(QWidget *parent) : QWidget(parent)
{
    m_layout = new QHBoxLayout(this);
    m_layout->setContentsMargins(12, 4, 12, 4);
    setMinimumHeight(44);
}

void Toolbar::addFlexibleSpace()
{
    m_layout->addStretch(1);
}

QPushButton *Toolbar::addButton(const QString &title, std::function<void()> action)
{
    auto *button = new QPushButton(title, this);
    button->setFlat(true);
    button->setCursor(Qt::PointingHandCursor);
    button->setStyleSheet(QStringLiteral("QPushButton { color: #007AFF; font-weight: 600; border: none; padding: 6px 8px; }"));
    connect(button, &QPushButton::clicked, this, [action = std::move(action)] {
        if (action)
            action();
    });
    m_layout->addWidget(button);
    return button;
}

void Toolbar::sizeToFit()
{
    resize(sizeHint());
}

Toolbar *Toolbar::doneToolbar(std::function<void()> done, QWidget *parent)
{
    auto *bar = new Toolbar(parent);
    bar->setObjectName(QStringLiteral("keyboardToolbar"));
    bar->addFlexibleSpace();
    bar->addButton(QStringLiteral("Done"), std::move(done))->setObjectName(QStringLiteral("doneButton"));
    bar->sizeToFit();
    return bar;
}

void Toolbar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    painter.setPen(QColor(0, 0, 0, 40));
    painter.drawLine(rect().topLeft(), rect().topRight());
}

} // namespace tessivo
