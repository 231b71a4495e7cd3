#include "TestSupport.h"

#include "platform/Console.h"
#include "platform/UserDefaults.h"

namespace tessivo::test {

ConsoleCapture::ConsoleCapture()
{
    m_token = addConsoleObserver([this](const QString &line) {
        QMutexLocker lock(&m_mutex);
        m_lines.append(line);
    });
}

ConsoleCapture::~ConsoleCapture()
{
    removeConsoleObserver(m_token);
}

QStringList ConsoleCapture::lines() const
{
    QMutexLocker lock(&m_mutex);
    return m_lines;
}

bool ConsoleCapture::contains(const QString &fragment) const
{
    QMutexLocker lock(&m_mutex);
    for (const QString &line : m_lines) {
        if (line.contains(fragment))
            return true;
    }
    return false;
}

void ConsoleCapture::clear()
{
    QMutexLocker lock(&m_mutex);
    m_lines.clear();
}

TemporaryDefaults::TemporaryDefaults()
{
    UserDefaults::useFileForTesting(m_dir.filePath(QStringLiteral("defaults.ini")));
}

TemporaryDefaults::~TemporaryDefaults()
{
    UserDefaults::useFileForTesting(QString());
}

} // namespace tessivo::test
