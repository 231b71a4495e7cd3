#include "platform/Console.h"

#include <QRecursiveMutex>

#include <cstdio>
#include <map>

namespace tessivo {
namespace {

struct ConsoleState {
    QRecursiveMutex mutex;
    std::map<int, std::function<void(const QString &)>> observers;
    int nextToken = 1;
};

ConsoleState &state()
{
    static ConsoleState s;
    return s;
}

} // namespace

void consolePrint(const QString &line)
{
    auto &s = state();
    QMutexLocker lock(&s.mutex);
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
    for (const auto &[token, observer] : s.observers)
        observer(line);
}

int addConsoleObserver(std::function<void(const QString &)> observer)
{
    auto &s = state();
    QMutexLocker lock(&s.mutex);
    const int token = s.nextToken++;
    s.observers.emplace(token, std::move(observer));
    return token;
}

void removeConsoleObserver(int token)
{
    auto &s = state();
    QMutexLocker lock(&s.mutex);
    s.observers.erase(token);
}

} // namespace tessivo
