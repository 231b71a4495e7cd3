// Bundles: the host application's (main) and the kit's own resources.
//
// The main bundle's info dictionary is built from the host's Qt application
// properties and may be overridden key by key by an ":/Info.json" resource
// in the host. The kit's bundle ("com.fernhollow.tessivoframework") carries
// the kit's version, its named colours (light and dark) and its images.
#pragma once

#include "platform/Appearance.h"
#include "tessivo_export.h"

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QString>
#include <QVariantMap>

#include <optional>

namespace tessivo {

inline constexpr const char *kKitBundleIdentifier = "com.fernhollow.tessivoframework";

class TESSIVO_EXPORT Bundle
{
public:
    enum class Kind { main, kit };

    /// The host application's bundle.
    static const Bundle &main();
    /// The kit's own bundle.
    static const Bundle &kit();
    /// The bundle with that identifier, or null when there is none.
    static const Bundle *withIdentifier(const QString &identifier);

    Kind kind() const { return m_kind; }

    /// CFBundleIdentifier, or an empty optional when the bundle has none.
    std::optional<QString> bundleIdentifier() const;
    /// The whole info dictionary (CFBundle* keys).
    QVariantMap infoDictionary() const;
    /// One key of the info dictionary; invalid when absent.
    QVariant object(const QString &key) const;

    /// An image by name (SVG or PNG); a null image when there is none.
    /// SVGs render at their natural size times `devicePixelRatio`.
    QImage image(const QString &name, qreal devicePixelRatio = 1.0) const;
    /// An image by name as an icon (scales crisply); null when absent.
    QIcon icon(const QString &name) const;
    /// The resource path an image name resolves to, if any.
    std::optional<QString> imagePath(const QString &name) const;

    /// A named colour for an appearance; empty when the name is unknown.
    /// Only the kit's bundle has named colours.
    std::optional<QColor> color(const QString &name, Appearance appearance) const;
    /// The same, resolved for the appearance the widget is drawn in.
    std::optional<QColor> color(const QString &name, const QWidget *widget) const;

    /// Drops cached resources so that resources registered at run time are
    /// seen (tests, plug-ins).
    static void invalidateCaches();

private:
    explicit Bundle(Kind kind) : m_kind(kind) {}
    Kind m_kind;
};

} // namespace tessivo
