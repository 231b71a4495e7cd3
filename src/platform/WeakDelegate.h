// A delegate held weakly: a delegate that is also a QObject is forgotten
// once it is destroyed; any other delegate is the owner's to keep alive.
#pragma once

#include <QObject>
#include <QPointer>

namespace tessivo {

template <typename Delegate>
class WeakDelegate
{
public:
    Delegate *get() const { return (m_isObject && !m_object) ? nullptr : m_delegate; }
    void set(Delegate *delegate)
    {
        m_delegate = delegate;
        m_object = dynamic_cast<QObject *>(delegate);
        m_isObject = m_object != nullptr;
    }

private:
    Delegate *m_delegate = nullptr;
    QPointer<QObject> m_object;
    bool m_isObject = false;
};

} // namespace tessivo
