// The three-button bar of the video and note editors: close, note, share,
// pressed as every ControlsBar is (note, then share, otherwise close).
#pragma once

#include "editors/ControlsBar.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QToolButton>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT VideoControlsView : public ControlsBar
{
    Q_OBJECT
public:
    explicit VideoControlsView(QWidget *parent = nullptr);

    QWidget *view() const { return m_view; }
    QToolButton *closeButton() const { return m_closeButton; }
    QToolButton *noteButton() const { return m_noteButton; }
    QToolButton *shareButton() const { return m_shareButton; }

    /// The press algorithm, as a tap on `sender` runs it.
    void doAction(QToolButton *sender);
    /// Clears the selected state of all three buttons.
    void resetButtons();

private:
    QPointer<QWidget> m_view;
    QPointer<QToolButton> m_closeButton;
    QPointer<QToolButton> m_noteButton;
    QPointer<QToolButton> m_shareButton;
};

} // namespace tessivo
