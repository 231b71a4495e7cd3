// The photo editor's main tool bar: close, note, markup, annotate,
// stickers and share. Presses follow ControlsBar's algorithm, tested in the
// order note, markup, annotate, stickers, share, otherwise close.
#pragma once

#include "editors/ControlsBar.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QToolButton>

namespace tessivo {

class TESSIVO_EXPORT ControlsView : public ControlsBar
{
    Q_OBJECT
public:
    explicit ControlsView(QWidget *parent = nullptr);

    QWidget *view() const { return m_view; }
    QToolButton *noteButton() const { return m_noteButton; }
    QToolButton *markupButton() const { return m_markupButton; }
    QToolButton *annotateButton() const { return m_annotateButton; }
    QToolButton *stickersButton() const { return m_stickersButton; }
    QToolButton *shareButton() const { return m_shareButton; }
    QToolButton *closeButton() const { return m_closeButton; }

    /// The press algorithm, as a tap on `sender` runs it.
    void doAction(QToolButton *sender);
    /// Clears the selected state of all six buttons.
    void resetButtons();

private:
    QList<QAbstractButton *> buttons() const;

    QPointer<QWidget> m_view;
    QPointer<QToolButton> m_noteButton;
    QPointer<QToolButton> m_markupButton;
    QPointer<QToolButton> m_annotateButton;
    QPointer<QToolButton> m_stickersButton;
    QPointer<QToolButton> m_shareButton;
    QPointer<QToolButton> m_closeButton;
};

} // namespace tessivo
