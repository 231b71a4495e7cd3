#include "DemoWindow.h"

#include "OrbitView.h"

#include <Tessivo/Tessivo.h>

#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

DemoWindow::DemoWindow(QWidget *parent) : QMainWindow(parent)
{
    setObjectName(QStringLiteral("DemoWindow"));
    setWindowTitle(QStringLiteral("Tessivo Demo"));
    auto *central = new QWidget(this);
    auto *layout = new QVBoxLayout(central);

    auto *title = new QLabel(QStringLiteral("Orbit Planner"), central);
    QFont font = title->font();
    font.setPointSize(20);
    font.setBold(true);
    title->setFont(font);
    layout->addWidget(title);

    m_orbit = new OrbitView(central);
    layout->addWidget(m_orbit, 1);

    auto *tasks = new QListWidget(central);
    for (const char *task : {"Check the launch window", "Refuel the second stage",
                             "Calibrate the star tracker", "Send the crew roster"})
        tasks->addItem(QString::fromUtf8(task));
    tasks->setMaximumHeight(110);
    layout->addWidget(tasks);

    auto *animate = new QCheckBox(QStringLiteral("Animate"), central);
    animate->setChecked(true);
    connect(animate, &QCheckBox::toggled, m_orbit, &OrbitView::setRunning);
    layout->addWidget(animate);

    auto *feedback = new QPushButton(QStringLiteral("Send feedback"), central);
    connect(feedback, &QPushButton::clicked, this,
            [] { tessivo::TessivoKit::shared().startFeedback(); });
    layout->addWidget(feedback);

    m_status = new QLabel(central);
    m_status->setWordWrap(true);
    layout->addWidget(m_status);
    setCentralWidget(central);
    resize(420, 720);
}

void DemoWindow::showStatus(const QString &text)
{
    m_status->setText(text);
}
