// A completion's result, written on the network thread, read by the test.
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMutex>
#include <QThread>

#include <optional>

namespace tessivo::test {

template <typename T>
class ResultBox
{
public:
    void set(T value)
    {
        QMutexLocker lock(&m_mutex);
        m_value = std::move(value);
        ++m_calls;
        m_onMainThread = QThread::currentThread() == QCoreApplication::instance()->thread();
    }
    bool called() const { QMutexLocker lock(&m_mutex); return m_calls > 0; }
    int calls() const { QMutexLocker lock(&m_mutex); return m_calls; }
    T value() const { QMutexLocker lock(&m_mutex); return *m_value; }
    bool onMainThread() const { QMutexLocker lock(&m_mutex); return m_onMainThread; }

private:
    mutable QMutex m_mutex;
    std::optional<T> m_value;
    int m_calls = 0;
    bool m_onMainThread = false;
};

/// Runs the event loop for `ms` milliseconds (to show that nothing happens).
inline void settle(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
}

} // namespace tessivo::test
