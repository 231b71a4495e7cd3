#include "XvfbServer.h"

#include <QByteArray>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

namespace {

constexpr int kStartMs = 30000;

} // namespace

XvfbServer::~XvfbServer()
{
    stop();
}

bool XvfbServer::start(const QString &program, int width, int height)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        m_error = QStringLiteral("no pipe: %1").arg(qt_error_string(errno));
        return false;
    }
    const QByteArray path = program.toLocal8Bit();
    const QByteArray screen = QByteArray::number(width) + 'x' + QByteArray::number(height) + "x24";
    const QByteArray fd = QByteArray::number(fds[1]);
    const pid_t pid = ::fork();
    if (pid < 0) {
        m_error = QStringLiteral("fork failed: %1").arg(qt_error_string(errno));
        ::close(fds[0]);
        ::close(fds[1]);
        return false;
    }
    if (pid == 0) {
        // The server goes with the test, even when the test is killed.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        ::fcntl(fds[1], F_SETFD, 0); // the write end stays open in the server
        const int devnull = ::open("/dev/null", O_RDWR);
        if (devnull >= 0) {
            ::dup2(devnull, STDIN_FILENO);
            ::dup2(devnull, STDOUT_FILENO); // its log stays out of the test's output
            ::dup2(devnull, STDERR_FILENO);
        }
        ::execl(path.constData(), path.constData(), "-displayfd", fd.constData(), "-screen", "0",
                screen.constData(), "-nolisten", "tcp", "-noreset",
                static_cast<char *>(nullptr));
        ::_exit(127);
    }
    ::close(fds[1]);
    m_pid = pid;

    // The server writes its display number followed by a new line once it
    // accepts connections.
    QByteArray number;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kStartMs);
    while (!number.endsWith('\n')) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        pollfd p{fds[0], POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(left.count())) <= 0)
            continue;
        char buffer[16];
        const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
        if (n <= 0)
            break; // the server is gone
        number.append(buffer, n);
    }
    ::close(fds[0]);
    bool ok = false;
    const int display = number.trimmed().toInt(&ok);
    if (!ok) {
        m_error = QStringLiteral("%1 did not report a display number").arg(program);
        stop();
        return false;
    }
    m_display = QStringLiteral(":%1").arg(display);
    return true;
}

void XvfbServer::stop()
{
    if (m_pid <= 0)
        return;
    ::kill(m_pid, SIGTERM);
    int status = 0;
    for (int i = 0; i < 50; ++i) {
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            return;
        }
        ::usleep(100 * 1000);
    }
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, &status, 0);
    m_pid = -1;
}
