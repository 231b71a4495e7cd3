// Storyboards: registries that make the kit's controllers by identifier,
// and the segues between them.
#pragma once

#include "tessivo_export.h"

#include <QHash>
#include <QPointer>
#include <QString>

#include <functional>

namespace tessivo {

class ViewController;

enum class SegueKind {
    show,    // pushed on the source's navigation controller (presented without one)
    present, // presented modally from the source
};

class TESSIVO_EXPORT StoryboardSegue
{
public:
    StoryboardSegue(QString identifier, ViewController *source, ViewController *destination)
        : m_identifier(std::move(identifier)), m_source(source), m_destination(destination)
    {
    }
    QString identifier() const { return m_identifier; }
    ViewController *source() const { return m_source; }
    ViewController *destination() const { return m_destination; }

private:
    QString m_identifier;
    QPointer<ViewController> m_source;
    QPointer<ViewController> m_destination;
};

class TESSIVO_EXPORT Storyboard
{
public:
    using Factory = std::function<ViewController *()>;

    /// The storyboard with that name, made empty on first use.
    static Storyboard &named(const QString &name);

    /// Registers (or replaces) the factory for a controller identifier.
    void registerController(const QString &identifier, Factory factory);
    bool contains(const QString &identifier) const;
    /// Forgets an identifier (hosts and tests that replace a kit screen).
    void removeController(const QString &identifier) { m_controllers.remove(identifier); }
    /// Makes a new, parentless controller. An unknown identifier is a
    /// programming error and stops the program.
    ViewController *instantiateViewController(const QString &identifier) const;

    /// Registers a segue: its identifier, how it shows its destination, and
    /// the factory of the destination.
    void registerSegue(const QString &identifier, SegueKind kind, Factory destination);
    bool containsSegue(const QString &identifier) const;
    SegueKind segueKind(const QString &identifier) const;
    /// The new destination of a segue; unknown identifiers stop the program.
    ViewController *instantiateSegueDestination(const QString &identifier) const;

private:
    explicit Storyboard(QString name) : m_name(std::move(name)) {}
    friend struct StoryboardRegistry;

    struct Segue {
        SegueKind kind;
        Factory factory;
    };
    QString m_name;
    QHash<QString, Factory> m_controllers;
    QHash<QString, Segue> m_segues;
};

} // namespace tessivo
