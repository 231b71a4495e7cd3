#include "metadata/MetadataTexts.h"

#include "metadata/DeviceMetadata.h"
#include "platform/Bundle.h"
#include "platform/Device.h"
#include "platform/UserDefaults.h"

#include <QFontDatabase>
#include <QStringList>

namespace tessivo::metadata {
namespace {

QFont bold(QFont font)
{
    font.setBold(true);
    return font;
}

QFont systemFont()
{
    return QFontDatabase::systemFont(QFontDatabase::GeneralFont);
}

} // namespace

QString formattedDate(const QDateTime &time)
{
    return time.toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString userInfoText(const QDateTime &time)
{
    return Device::name() + QStringLiteral(", ") + formattedDate(time);
}

AttributedText appVersionAttributedText(const QFont &regular)
{
    AttributedText text;
    text.append(QStringLiteral("App version: "), regular);
    text.append(appVersionText(), bold(regular));
    return text;
}

AttributedText noteAttributedText(const CaptureInfo &info, const QFont &regular)
{
    QFont boldFont = bold(systemFont());
    boldFont.setPixelSize(15);
    // Without an author the anonymous name is shown as it is: no ": ".
    const QString boldPart = info.author.isEmpty()
                                 ? UserDefaults::standard().stringForKey(QStringLiteral("anonymousAuthor"))
                                 : info.author + QStringLiteral(": ");
    AttributedText text;
    text.append(boldPart, boldFont);
    text.append(info.note, regular);
    return text;
}

AttributedText deviceLineText(const QFont &regular, Appearance appearance)
{
    const std::optional<QColor> color =
        Bundle::kit().color(QStringLiteral("primaryLabelColor"), appearance);
    AttributedText text;
    text.append(QStringLiteral("Device: "), regular, color);
    text.append(deviceModelName(), bold(regular), color);
    text.append(QStringLiteral(" | OS version: "), regular, color);
    text.append(systemVersion(), bold(regular), color);
    return text;
}

QString reportSummary(const CaptureInfo &info, const QDateTime &time)
{
    const QFont font = systemFont();
    const QStringList lines{
        appDisplayName().value_or(QString()),
        appVersionAttributedText(font).string(),
        QString(),
        noteAttributedText(info, font).string(),
        QString(),
        userInfoText(time),
        deviceLineText(font, Appearance::light).string(),
        QStringLiteral("Powered by Tessiov"),
    };
    return lines.join(QLatin1Char('\n'));
}

} // namespace tessivo::metadata
