// What the editors' tool bars have in common: a weak ControlsDelegate, the
// selected state of their buttons (drawn as a tinted pill), and the press
// algorithm. A press of a button that is already selected (other than
// close) sends toolDeselected(); any other press clears every button, sends
// the operation of the first button in the bar's order that matches the
// sender (closeTapped() when none does) and leaves the sender selected.
#pragma once

#include "editors/ControlsDelegate.h"
#include "platform/WeakDelegate.h"
#include "tessivo_export.h"

#include <QAbstractButton>
#include <QList>
#include <QPointer>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT ControlsBar : public QWidget
{
    Q_OBJECT
public:
    /// One button of the bar with the delegate operation it sends.
    struct Operation {
        QAbstractButton *button;
        void (ControlsDelegate::*send)();
    };

    explicit ControlsBar(QWidget *parent = nullptr);

    /// The delegate is weak: a QObject delegate that is destroyed is
    /// forgotten, and a missing delegate makes presses only toggle.
    ControlsDelegate *delegate() const;
    void setDelegate(ControlsDelegate *delegate);

    /// A bar button's selected state.
    static bool isSelected(const QAbstractButton *button);
    static void setSelected(QAbstractButton *button, bool selected);

protected:
    /// The press algorithm for `sender`: `buttons` are all the bar's
    /// buttons, `operations` the ones tested in order before close.
    void press(QAbstractButton *sender, QAbstractButton *closeButton, const QList<QAbstractButton *> &buttons,
               const QList<Operation> &operations);
    /// Clears the selected state of `buttons`.
    static void clearSelection(const QList<QAbstractButton *> &buttons);
    /// Styles the buttons of `content` (pill on hover and when selected,
    /// tinted with the kit's selection colour); again on palette changes.
    void setButtonContent(QWidget *content);
    void changeEvent(QEvent *event) override;

private:
    void applyColors();

    WeakDelegate<ControlsDelegate> m_delegate;
    QPointer<QWidget> m_buttonContent;
};

} // namespace tessivo
