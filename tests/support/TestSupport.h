// Helpers shared by the test executables.
#pragma once

#include <QMutex>
#include <QStringList>
#include <QTemporaryDir>

namespace tessivo::test {

/// Collects every console line printed while it lives.
class ConsoleCapture
{
public:
    ConsoleCapture();
    ~ConsoleCapture();
    QStringList lines() const;
    bool contains(const QString &fragment) const;
    void clear();

private:
    mutable QMutex m_mutex;
    QStringList m_lines;
    int m_token = 0;
};

/// Points the standard user defaults at a fresh temporary file.
class TemporaryDefaults
{
public:
    TemporaryDefaults();
    ~TemporaryDefaults();

private:
    QTemporaryDir m_dir;
};

} // namespace tessivo::test
