// A private X server for one test run: Xvfb on the first free display
// number (it picks the number itself and reports it on a pipe), without
// TCP, stopped with the object. Usable before any Qt application exists,
// so that the test's own application can connect to it.
#pragma once

#include <QString>

#include <sys/types.h>

class XvfbServer
{
public:
    XvfbServer() = default;
    ~XvfbServer();
    XvfbServer(const XvfbServer &) = delete;
    XvfbServer &operator=(const XvfbServer &) = delete;

    /// Starts `program` with one screen of the given size and depth 24.
    /// Returns false (with the reason in error()) when it does not come up.
    bool start(const QString &program, int width, int height);
    void stop();

    /// ":N" once started.
    QString display() const { return m_display; }
    QString error() const { return m_error; }

private:
    pid_t m_pid = -1;
    QString m_display;
    QString m_error;
};
