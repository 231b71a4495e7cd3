#include "platform/Bundle.h"

#include "platform/Console.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>

#ifndef TESSIVO_FRAMEWORK_SHORT_VERSION
#define TESSIVO_FRAMEWORK_SHORT_VERSION "1.0"
#endif

namespace tessivo {
namespace {

constexpr auto kInfoJsonPath = ":/Info.json";
constexpr auto kKitImagePrefix = ":/tessivo/images/";
constexpr auto kKitColorsPath = ":/tessivo/colors.json";

struct Caches {
    QMutex mutex;
    bool infoLoaded = false;
    QVariantMap infoOverride;
    bool colorsLoaded = false;
    QHash<QString, std::pair<QColor, QColor>> colors; // light, dark
};

Caches &caches()
{
    static Caches c;
    return c;
}

QVariantMap readJsonObject(const QString &path, bool reportProblems)
{
    QFile file(path);
    if (!file.exists() || !file.open(QIODevice::ReadOnly))
        return {};
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (!doc.isObject()) {
        if (reportProblems)
            consolePrint(QStringLiteral("Tessivo: %1 is not a JSON object (%2); it is ignored.")
                             .arg(path, error.errorString()));
        return {};
    }
    return doc.object().toVariantMap();
}

QVariantMap mainInfoOverride()
{
    auto &c = caches();
    QMutexLocker lock(&c.mutex);
    if (!c.infoLoaded) {
        c.infoOverride = readJsonObject(QString::fromLatin1(kInfoJsonPath), true);
        c.infoLoaded = true;
    }
    return c.infoOverride;
}

// The identifier a Qt application has by convention: its organisation
// domain reversed, then its name ("example.com" + "Demo" -> "com.example.Demo").
QString identifierFromQt()
{
    const QString domain = QCoreApplication::organizationDomain();
    const QString name = QCoreApplication::applicationName();
    if (domain.isEmpty())
        return {};
    QStringList parts = domain.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    std::reverse(parts.begin(), parts.end());
    if (!name.isEmpty())
        parts.append(name);
    return parts.join(QLatin1Char('.'));
}

QVariantMap mainInfoDictionary()
{
    QVariantMap info;
    if (!QCoreApplication::instance())
        return mainInfoOverride();
    const QString identifier = identifierFromQt();
    if (!identifier.isEmpty())
        info.insert(QStringLiteral("CFBundleIdentifier"), identifier);
    if (!QCoreApplication::applicationName().isEmpty())
        info.insert(QStringLiteral("CFBundleName"), QCoreApplication::applicationName());
    if (!QCoreApplication::applicationVersion().isEmpty())
        info.insert(QStringLiteral("CFBundleShortVersionString"),
                    QCoreApplication::applicationVersion());
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        const QString display = QGuiApplication::applicationDisplayName();
        if (!display.isEmpty() && display != QCoreApplication::applicationName())
            info.insert(QStringLiteral("CFBundleDisplayName"), display);
    }
    // Dynamic properties of the application object named after CFBundle keys
    // or the kit's own keys (qApp->setProperty("CFBundleVersion", "41"),
    // qApp->setProperty("TessivoRelayURL", ...)).
    const auto *app = QCoreApplication::instance();
    for (const QByteArray &name : app->dynamicPropertyNames()) {
        if (name.startsWith("CFBundle") || name.startsWith("Tessivo"))
            info.insert(QString::fromLatin1(name), app->property(name.constData()));
    }
    const QVariantMap override = mainInfoOverride();
    for (auto it = override.cbegin(); it != override.cend(); ++it)
        info.insert(it.key(), it.value());
    // Qt applications have one version; it serves as the build too unless
    // the host names a build of its own.
    const auto shortVersion = info.constFind(QStringLiteral("CFBundleShortVersionString"));
    if (!info.contains(QStringLiteral("CFBundleVersion")) && shortVersion != info.cend())
        info.insert(QStringLiteral("CFBundleVersion"), shortVersion.value());
    return info;
}

QVariantMap kitInfoDictionary()
{
    return {
        {QStringLiteral("CFBundleIdentifier"), QString::fromLatin1(kKitBundleIdentifier)},
        {QStringLiteral("CFBundleName"), QStringLiteral("Tessivo")},
        {QStringLiteral("CFBundleShortVersionString"),
         QStringLiteral(TESSIVO_FRAMEWORK_SHORT_VERSION)},
        {QStringLiteral("CFBundleVersion"), QStringLiteral("1")},
    };
}

std::optional<QColor> parseColor(const QVariant &value)
{
    const QColor color = QColor::fromString(value.toString());
    if (!color.isValid())
        return std::nullopt;
    return color;
}

void loadColors(Caches &c)
{
    if (c.colorsLoaded)
        return;
    c.colorsLoaded = true;
    const QVariantMap all = readJsonObject(QString::fromLatin1(kKitColorsPath), true);
    for (auto it = all.cbegin(); it != all.cend(); ++it) {
        const QVariantMap pair = it.value().toMap();
        const auto light = parseColor(pair.value(QStringLiteral("light")));
        const auto dark = parseColor(pair.value(QStringLiteral("dark")));
        if (light)
            c.colors.insert(it.key(), {*light, dark.value_or(*light)});
    }
}

} // namespace

const Bundle &Bundle::main()
{
    static const Bundle bundle(Kind::main);
    return bundle;
}

const Bundle &Bundle::kit()
{
    static const Bundle bundle(Kind::kit);
    return bundle;
}

const Bundle *Bundle::withIdentifier(const QString &identifier)
{
    if (identifier == QLatin1String(kKitBundleIdentifier))
        return &kit();
    if (main().bundleIdentifier() == identifier)
        return &main();
    return nullptr;
}

QVariantMap Bundle::infoDictionary() const
{
    return m_kind == Kind::kit ? kitInfoDictionary() : mainInfoDictionary();
}

QVariant Bundle::object(const QString &key) const
{
    return infoDictionary().value(key);
}

std::optional<QString> Bundle::bundleIdentifier() const
{
    const QVariant id = object(QStringLiteral("CFBundleIdentifier"));
    if (id.typeId() != QMetaType::QString || id.toString().isEmpty())
        return std::nullopt;
    return id.toString();
}

std::optional<QString> Bundle::imagePath(const QString &name) const
{
    if (name.isEmpty())
        return std::nullopt;
    QStringList candidates;
    if (m_kind == Kind::kit) {
        const QString base = QString::fromLatin1(kKitImagePrefix) + name;
        candidates = {base + QStringLiteral(".svg"), base + QStringLiteral(".png"), base};
    } else {
        // The host's images: its resource root, then its images/ folder.
        for (const QString &dir : {QStringLiteral(":/"), QStringLiteral(":/images/")}) {
            candidates << dir + name + QStringLiteral(".svg") << dir + name + QStringLiteral(".png")
                       << dir + name;
        }
    }
    for (const QString &path : candidates) {
        if (QFile::exists(path))
            return path;
    }
    return std::nullopt;
}

QImage Bundle::image(const QString &name, qreal devicePixelRatio) const
{
    const auto path = imagePath(name);
    if (!path)
        return {};
    if (path->endsWith(QLatin1String(".svg"))) {
        QSvgRenderer renderer(*path);
        if (!renderer.isValid())
            return {};
        const QSize size = renderer.defaultSize() * devicePixelRatio;
        QImage image(size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter);
        painter.end();
        image.setDevicePixelRatio(devicePixelRatio);
        return image;
    }
    QImage image(*path);
    return image;
}

QIcon Bundle::icon(const QString &name) const
{
    const auto path = imagePath(name);
    return path ? QIcon(*path) : QIcon();
}

std::optional<QColor> Bundle::color(const QString &name, Appearance appearance) const
{
    if (m_kind != Kind::kit)
        return std::nullopt;
    auto &c = caches();
    QMutexLocker lock(&c.mutex);
    loadColors(c);
    const auto it = c.colors.constFind(name);
    if (it == c.colors.cend())
        return std::nullopt;
    return appearance == Appearance::dark ? it->second : it->first;
}

std::optional<QColor> Bundle::color(const QString &name, const QWidget *widget) const
{
    return color(name, appearanceOf(widget));
}

void Bundle::invalidateCaches()
{
    auto &c = caches();
    QMutexLocker lock(&c.mutex);
    c.infoLoaded = false;
    c.infoOverride.clear();
    c.colorsLoaded = false;
    c.colors.clear();
}

} // namespace tessivo
