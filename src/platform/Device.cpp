#include "platform/Device.h"

#include <QSysInfo>

#include <sys/utsname.h>

#include <cstring>

namespace tessivo {
namespace {
UserInterfaceIdiom &idiomSetting()
{
    static UserInterfaceIdiom idiom = UserInterfaceIdiom::pad;
    return idiom;
}
} // namespace

UserInterfaceIdiom Device::userInterfaceIdiom()
{
    return idiomSetting();
}

void Device::setUserInterfaceIdiom(UserInterfaceIdiom idiom)
{
    idiomSetting() = idiom;
}

QString Device::systemName()
{
    const QString type = QSysInfo::productType();
    if (type == QLatin1String("macos") || type == QLatin1String("osx"))
        return QStringLiteral("macOS");
    if (type == QLatin1String("windows"))
        return QStringLiteral("Windows");
    if (type == QLatin1String("unknown") || type.isEmpty())
        return QSysInfo::kernelType().isEmpty()
            ? QStringLiteral("Unknown")
            : QSysInfo::kernelType().left(1).toUpper() + QSysInfo::kernelType().mid(1);
    return type.left(1).toUpper() + type.mid(1);
}

QString Device::systemVersion()
{
    const QString version = QSysInfo::productVersion();
    if (version.isEmpty() || version == QLatin1String("unknown"))
        return QSysInfo::kernelVersion();
    return version;
}

QString Device::name()
{
    return QSysInfo::machineHostName();
}

Device::MachineField Device::unameMachine()
{
    MachineField field{};
    struct utsname info;
    std::memset(&info, 0, sizeof info);
    if (uname(&info) == 0) {
        const size_t n = std::min(field.size(), sizeof info.machine);
        std::memcpy(field.data(), info.machine, n);
    }
    return field;
}

} // namespace tessivo
