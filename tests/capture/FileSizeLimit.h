// Makes the disk "full" for this process: writes past `bytes` fail with
// EFBIG (SIGXFSZ ignored) until the limit goes out of scope.
#pragma once

#include <csignal>
#include <sys/resource.h>

namespace tessivo::test {

class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_previous);
        rlimit limit = m_previous;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_previous); }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    rlimit m_previous{};
};

} // namespace tessivo::test
