// Turns SIGTERM and SIGINT into a Qt signal on the main thread (through a
// socket pair, the one thing a signal handler may safely write to).
#pragma once

#include <QObject>

class QSocketNotifier;

namespace relay {

class SignalWatcher : public QObject
{
    Q_OBJECT
public:
    explicit SignalWatcher(QObject *parent = nullptr);
    ~SignalWatcher() override;

Q_SIGNALS:
    void stopRequested(int signalNumber);

private:
    QSocketNotifier *m_notifier = nullptr;
};

} // namespace relay
