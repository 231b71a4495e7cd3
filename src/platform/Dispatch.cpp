#include "platform/Dispatch.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include <cmath>

namespace tessivo {

void dispatchMain(std::function<void()> work)
{
    auto *app = QCoreApplication::instance();
    if (!app || !work)
        return;
    QMetaObject::invokeMethod(app, std::move(work), Qt::QueuedConnection);
}

void dispatchMainAfter(double seconds, std::function<void()> work)
{
    auto *app = QCoreApplication::instance();
    if (!app || !work)
        return;
    const int ms = std::max(0, static_cast<int>(std::lround(seconds * 1000.0)));
    // QTimer::singleShot must be started from a thread with an event loop;
    // hop to the GUI thread first so callers on worker threads are safe.
    QMetaObject::invokeMethod(
        app, [ms, app, work = std::move(work)]() mutable {
            QTimer::singleShot(ms, app, std::move(work));
        },
        Qt::QueuedConnection);
}

bool isMainThread()
{
    auto *app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

} // namespace tessivo
