// The host's standard user defaults, stored with QSettings.
#pragma once

#include "tessivo_export.h"

#include <QString>
#include <QVariant>

#include <memory>

class QSettings;

namespace tessivo {

class TESSIVO_EXPORT UserDefaults
{
public:
    /// The host application's defaults (QSettings with the application's
    /// organisation and name).
    static UserDefaults &standard();

    /// An absent key, or a value that is not a Boolean, reads false.
    bool boolForKey(const QString &key) const;
    void setBool(bool value, const QString &key);

    /// An absent key reads as a null string.
    QString stringForKey(const QString &key) const;
    void setString(const QString &value, const QString &key);

    bool contains(const QString &key) const;
    void removeObject(const QString &key);

    /// Points the standard defaults at an INI file (tests use a temporary
    /// file so they never touch the user's settings). An empty path returns
    /// to the application's own settings.
    static void useFileForTesting(const QString &iniPath);

private:
    UserDefaults();
    ~UserDefaults();
    QSettings &settings() const;

    mutable std::unique_ptr<QSettings> m_settings;
};

} // namespace tessivo
