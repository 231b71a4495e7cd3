#include "Log.h"

#include <QDateTime>
#include <QMutex>

#include <cstdio>

namespace relay {
namespace {

QMutex &mutex()
{
    static QMutex m;
    return m;
}

std::function<void(const QString &)> &observer()
{
    static std::function<void(const QString &)> o;
    return o;
}

} // namespace

void logLine(const QString &line)
{
    QMutexLocker lock(&mutex());
    const QByteArray bytes = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toUtf8() + ' '
        + line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
    if (observer())
        observer()(line);
}

void setLogObserver(std::function<void(const QString &)> o)
{
    QMutexLocker lock(&mutex());
    observer() = std::move(o);
}

} // namespace relay
