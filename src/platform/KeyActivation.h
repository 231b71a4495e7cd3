// Makes a plain widget a keyboard control: Tab reaches it, and Space or
// Return runs the same action as a tap on it.
#pragma once

#include "tessivo_export.h"

#include <QObject>

#include <functional>

class QWidget;

namespace tessivo {

class TESSIVO_EXPORT KeyActivation : public QObject
{
    Q_OBJECT
public:
    /// Lives as long as `view` (its parent).
    static KeyActivation *install(QWidget *view, std::function<void()> action);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    KeyActivation(QWidget *view, std::function<void()> action);

    std::function<void()> m_action;
};

} // namespace tessivo
