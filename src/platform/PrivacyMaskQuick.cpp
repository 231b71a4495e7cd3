// The Qt Quick half of PrivacyMask: private items inside a QQuickWidget.
#include "platform/PrivacyMask.h"

#ifdef TESSIVO_HAS_QUICK
#include <QQuickItem>
#include <QQuickWidget>
#include <QQuickWindow>
#endif

namespace tessivo {

bool PrivacyMask::isQuickWidget(const QWidget *widget)
{
    return widget && widget->inherits("QQuickWidget");
}

#ifdef TESSIVO_HAS_QUICK
namespace {

/// A property of a QML type looked up once per type, then read by index.
class PropertyReader
{
public:
    explicit PropertyReader(const char *name) : m_name(name) {}

    QVariant read(const QObject *object)
    {
        const QMetaObject *type = object->metaObject();
        auto it = m_indexes.constFind(type);
        // A type made at the address of one that is gone is looked up anew.
        if (it == m_indexes.cend() || (*it >= 0 && qstrcmp(type->property(*it).name(), m_name) != 0))
            it = m_indexes.insert(type, type->indexOfProperty(m_name));
        if (*it >= 0)
            return type->property(*it).read(object);
        // Set from C++ (or by the kit) as a dynamic property.
        return object->dynamicPropertyNames().isEmpty() ? QVariant() : object->property(m_name);
    }

private:
    const char *m_name;
    QHash<const QMetaObject *, int> m_indexes;
};

bool isPrivateItem(const QQuickItem *item)
{
    static PropertyReader marked(PrivacyMask::kPropertyName);
    static PropertyReader echoMode("echoMode");
    if (marked.read(item).toBool())
        return true;
    if (!item->inherits("QQuickTextInput"))
        return false;
    // TextInput.Password and TextInput.PasswordEchoOnEdit.
    const int mode = echoMode.read(item).toInt();
    return mode == 2 || mode == 3;
}

/// Adds the private items under `item` (scene coordinates), clipped by
/// the items that clip their children.
void collect(const QQuickItem *item, QRectF clip, QRegion &into)
{
    if (!item->isVisible())
        return;
    const QRectF bounds = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
    if (isPrivateItem(item)) {
        into += (bounds & clip).toAlignedRect();
        return; // its children are private with it
    }
    if (item->clip())
        clip &= bounds;
    if (clip.isEmpty())
        return;
    for (const QQuickItem *child : item->childItems())
        collect(child, clip, into);
}

} // namespace

QRegion PrivacyMask::quickItemsRegion(QWidget *widget)
{
    auto *quick = qobject_cast<QQuickWidget *>(widget);
    if (!quick || !quick->quickWindow())
        return {};
    QRegion items;
    collect(quick->quickWindow()->contentItem(), QRectF(quick->rect()), items);
    return items;
}

QRegion PrivacyMask::itemsRegion(QWindow *window)
{
    auto *quick = qobject_cast<QQuickWindow *>(window);
    if (!quick)
        return {};
    QRegion items;
    collect(quick->contentItem(), QRectF(QPointF(0, 0), quick->size()), items);
    return items;
}

void PrivacyMask::watchQuickWidget(QWidget *widget)
{
    auto *quick = qobject_cast<QQuickWidget *>(widget);
    if (!quick || !quick->quickWindow())
        return;
    // The scene graph takes the items' geometry here; what the widget shows
    // until its next rendering is drawn from it.
    QPointer<QQuickWidget> weak(quick);
    connect(quick->quickWindow(), &QQuickWindow::afterSynchronizing, this, [this, weak] {
        if (weak)
            m_quickSynced.insert(weak.data(), quickItemsRegion(weak));
    }, Qt::DirectConnection);
    connect(quick, &QObject::destroyed, this, [this, quick] { m_quickSynced.remove(quick); });
}

void PrivacyMask::quickPropertyChanged(QObject *object)
{
    // A new frame, so that the change shows from the next frame on.
    if (auto *item = qobject_cast<QQuickItem *>(object)) {
        if (QQuickWindow *window = item->window())
            window->update();
    }
}

#else

QRegion PrivacyMask::quickItemsRegion(QWidget *)
{
    return {};
}

QRegion PrivacyMask::itemsRegion(QWindow *)
{
    return {};
}

void PrivacyMask::watchQuickWidget(QWidget *) {}

void PrivacyMask::quickPropertyChanged(QObject *) {}

#endif

} // namespace tessivo
