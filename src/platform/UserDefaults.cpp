#include "platform/UserDefaults.h"

#include <QSettings>

namespace tessivo {
namespace {
QString &testingPath()
{
    static QString path;
    return path;
}
} // namespace

UserDefaults::UserDefaults() = default;
UserDefaults::~UserDefaults() = default;

UserDefaults &UserDefaults::standard()
{
    static UserDefaults defaults;
    return defaults;
}

void UserDefaults::useFileForTesting(const QString &iniPath)
{
    testingPath() = iniPath;
    standard().m_settings.reset();
}

QSettings &UserDefaults::settings() const
{
    if (!m_settings) {
        if (testingPath().isEmpty())
            m_settings = std::make_unique<QSettings>();
        else
            m_settings = std::make_unique<QSettings>(testingPath(), QSettings::IniFormat);
    }
    return *m_settings;
}

bool UserDefaults::boolForKey(const QString &key) const
{
    const QVariant value = settings().value(key);
    if (!value.isValid())
        return false;
    // INI storage gives back text; accept the forms QSettings writes.
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = value.toString();
    return text == QLatin1String("true") || text == QLatin1String("1");
}

void UserDefaults::setBool(bool value, const QString &key)
{
    settings().setValue(key, value);
    settings().sync();
}

QString UserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = settings().value(key);
    return value.isValid() ? value.toString() : QString();
}

void UserDefaults::setString(const QString &value, const QString &key)
{
    settings().setValue(key, value);
    settings().sync();
}

bool UserDefaults::contains(const QString &key) const
{
    return settings().contains(key);
}

void UserDefaults::removeObject(const QString &key)
{
    settings().remove(key);
    settings().sync();
}

} // namespace tessivo
