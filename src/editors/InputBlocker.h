// Blocks the tester's input to one widget and everything inside it, while
// leaving it drawn as it is (no disabled look).
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

namespace tessivo {

class InputBlocker : public QObject
{
    Q_OBJECT
public:
    /// Owned by `target`; starts unblocked.
    explicit InputBlocker(QWidget *target);
    ~InputBlocker() override;

    bool isBlocking() const { return m_blocking; }
    void setBlocking(bool blocking);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QPointer<QWidget> m_target;
    bool m_blocking = false;
};

} // namespace tessivo
