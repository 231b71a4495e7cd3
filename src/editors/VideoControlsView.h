// The three-button bar of the video and note editors: close, note, share.
// A press of a button that is already selected (other than close) sends
// toolDeselected(); any other press sends the button's operation and
// leaves that button alone selected.
#pragma once

#include "editors/ControlsDelegate.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QToolButton>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT VideoControlsView : public QWidget
{
    Q_OBJECT
public:
    explicit VideoControlsView(QWidget *parent = nullptr);

    QWidget *view() const { return m_view; }
    QToolButton *closeButton() const { return m_closeButton; }
    QToolButton *noteButton() const { return m_noteButton; }
    QToolButton *shareButton() const { return m_shareButton; }

    /// The delegate is weak: a QObject delegate that is destroyed is
    /// forgotten, and a missing delegate makes presses only toggle.
    ControlsDelegate *delegate() const;
    void setDelegate(ControlsDelegate *delegate);

    /// The press algorithm, as a tap on `sender` runs it.
    void doAction(QToolButton *sender);
    /// Clears the selected state of all three buttons.
    void resetButtons();

    /// A bar button's selected state (drawn as a tinted pill).
    static bool isSelected(const QAbstractButton *button);
    static void setSelected(QAbstractButton *button, bool selected);

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    QPointer<QWidget> m_view;
    QPointer<QToolButton> m_closeButton;
    QPointer<QToolButton> m_noteButton;
    QPointer<QToolButton> m_shareButton;
    ControlsDelegate *m_delegate = nullptr;
    QPointer<QObject> m_delegateObject;
    bool m_delegateIsObject = false;
};

} // namespace tessivo
