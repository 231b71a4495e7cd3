#include "platform/ThreadPriority.h"

#include <QtGlobal>

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace tessivo {

void lowerCurrentThreadPriority()
{
#ifdef Q_OS_LINUX
    // On Linux the nice value belongs to each thread and is inherited by the
    // threads it starts (the encoder's own workers among them).
    constexpr int kBackgroundNice = 10;
    const auto tid = static_cast<id_t>(syscall(SYS_gettid));
    const int current = getpriority(PRIO_PROCESS, tid);
    if (current < kBackgroundNice)
        setpriority(PRIO_PROCESS, tid, kBackgroundNice);
#endif
}

} // namespace tessivo
