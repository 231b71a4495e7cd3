#include "SignalWatcher.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace relay {
namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int number)
{
    const char byte = char(number);
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

} // namespace

SignalWatcher::SignalWatcher(QObject *parent) : QObject(parent)
{
    if (signalPipe[0] < 0 && ::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    m_notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        if (::read(signalPipe[0], &byte, 1) == 1)
            Q_EMIT stopRequested(int(byte));
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

SignalWatcher::~SignalWatcher()
{
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
}

} // namespace relay
