#include "platform/Storyboard.h"

#include "platform/ViewController.h"

#include <QMutex>

#include <map>
#include <memory>

namespace tessivo {

struct StoryboardRegistry {
    QMutex mutex;
    std::map<QString, std::unique_ptr<Storyboard>> boards;
};

namespace {
StoryboardRegistry &registry()
{
    static StoryboardRegistry r;
    return r;
}
} // namespace

Storyboard &Storyboard::named(const QString &name)
{
    auto &r = registry();
    QMutexLocker lock(&r.mutex);
    auto &slot = r.boards[name];
    if (!slot)
        slot.reset(new Storyboard(name));
    return *slot;
}

void Storyboard::registerController(const QString &identifier, Factory factory)
{
    m_controllers.insert(identifier, std::move(factory));
}

bool Storyboard::contains(const QString &identifier) const
{
    return m_controllers.contains(identifier);
}

ViewController *Storyboard::instantiateViewController(const QString &identifier) const
{
    const auto it = m_controllers.constFind(identifier);
    if (it == m_controllers.cend())
        qFatal("Storyboard (%s) doesn't contain a view controller with identifier '%s'",
               qPrintable(m_name), qPrintable(identifier));
    ViewController *controller = (*it)();
    if (!controller)
        qFatal("Storyboard (%s): the factory for '%s' made nothing", qPrintable(m_name),
               qPrintable(identifier));
    controller->setStoryboardIdentifier(identifier);
    controller->setStoryboardName(m_name);
    return controller;
}

void Storyboard::registerSegue(const QString &identifier, SegueKind kind, Factory destination)
{
    m_segues.insert(identifier, Segue{kind, std::move(destination)});
}

bool Storyboard::containsSegue(const QString &identifier) const
{
    return m_segues.contains(identifier);
}

SegueKind Storyboard::segueKind(const QString &identifier) const
{
    return m_segues.value(identifier, Segue{SegueKind::present, {}}).kind;
}

ViewController *Storyboard::instantiateSegueDestination(const QString &identifier) const
{
    const auto it = m_segues.constFind(identifier);
    if (it == m_segues.cend() || !it->factory)
        qFatal("Storyboard (%s) has no segue with identifier '%s'", qPrintable(m_name),
               qPrintable(identifier));
    ViewController *destination = it->factory();
    if (!destination)
        qFatal("Storyboard (%s): segue '%s' made no destination", qPrintable(m_name),
               qPrintable(identifier));
    destination->setStoryboardName(m_name);
    return destination;
}

} // namespace tessivo
