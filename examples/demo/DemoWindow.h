// The demo host's main window: a lively screen and a feedback button.
#pragma once

#include <QMainWindow>

class OrbitView;
class QLabel;

class DemoWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit DemoWindow(QWidget *parent = nullptr);
    void showStatus(const QString &text);

private:
    OrbitView *m_orbit = nullptr;
    QLabel *m_status = nullptr;
};
