#include "Log.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QMutex>
#include <QThread>
#include <QTimer>

#include <cstdio>

namespace relay {
namespace {

// Lines are gathered and written together a few milliseconds later (or at
// once without an event loop), so that a busy relay does not make one
// system call per request. Each line is written whole.
struct LogState {
    QMutex mutex;
    std::function<void(const QString &)> observer;
    QByteArray pending;
    bool flushScheduled = false;
    qint64 cachedSecond = -1;
    QByteArray cachedPrefix; // "YYYY-MM-DDTHH:MM:SS."
};

LogState &state()
{
    static LogState s;
    return s;
}

void writeOut(const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
}

void flushPending()
{
    QByteArray bytes;
    {
        QMutexLocker lock(&state().mutex);
        bytes.swap(state().pending);
        state().flushScheduled = false;
    }
    if (!bytes.isEmpty())
        writeOut(bytes);
}

QByteArray timestamp(LogState &s)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const qint64 second = now / 1000;
    if (second != s.cachedSecond) {
        s.cachedSecond = second;
        s.cachedPrefix = QDateTime::fromSecsSinceEpoch(second, Qt::UTC).toString(Qt::ISODate).toLatin1();
        s.cachedPrefix.chop(1); // the 'Z'
        s.cachedPrefix += '.';
    }
    char ms[8];
    std::snprintf(ms, sizeof ms, "%03dZ ", int(now % 1000));
    return s.cachedPrefix + ms;
}

} // namespace

void logLine(const QString &line)
{
    LogState &s = state();
    QMutexLocker lock(&s.mutex);
    QByteArray text = line.toUtf8();
    for (char &c : text) {
        if (c == '\n' || c == '\r' || c == '\t')
            c = ' '; // one event, one line
    }
    const QByteArray bytes = timestamp(s) + text + '\n';
    if (s.observer)
        s.observer(line);
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || app->thread() != QThread::currentThread()) {
        s.pending += bytes;
        QByteArray out;
        out.swap(s.pending);
        writeOut(out);
        return;
    }
    s.pending += bytes;
    if (s.pending.size() > 64 * 1024) {
        QByteArray out;
        out.swap(s.pending);
        writeOut(out);
        return;
    }
    if (!s.flushScheduled) {
        s.flushScheduled = true;
        QTimer::singleShot(20, app, &flushPending);
    }
}

void flushLog()
{
    flushPending();
}

void setLogObserver(std::function<void(const QString &)> o)
{
    QMutexLocker lock(&state().mutex);
    state().observer = std::move(o);
}

} // namespace relay
