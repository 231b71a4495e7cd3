// A small animated scene, so that the screen always has something moving.
#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

class OrbitView : public QWidget
{
    Q_OBJECT
public:
    explicit OrbitView(QWidget *parent = nullptr);
    void setRunning(bool running);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QTimer m_timer;
    QElapsedTimer m_clock;
};
