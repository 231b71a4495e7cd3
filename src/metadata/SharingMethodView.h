// The panel that asks how to share a report when no fixed destination is
// configured: the monday relay or the share sheet. Every pick is recorded
// in selectedOption() and reported through the controller's callback.
#pragma once

#include "core/ShareMethod.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <optional>

#include <QLabel>
#include <QPushButton>

namespace tessivo {

class TESSIVO_EXPORT SharingMethodView : public QWidget
{
    Q_OBJECT
public:
    explicit SharingMethodView(QWidget *parent = nullptr);

    /// The route picked last; empty until a button is pressed.
    std::optional<ShareMethod> selectedOption() const { return m_selectedOption; }

    /// Called after every pick; the controller reads selectedOption() in it.
    void setShareFunctionFromController(std::function<void()> function);

    QWidget *view() const { return m_view; }
    QLabel *textLabel() const { return m_textLabel; }
    QPushButton *mondayButton() const { return m_mondayButton; }
    QPushButton *otherButton() const { return m_otherButton; }

public Q_SLOTS:
    /// Picks monday, or Trello when the host's configuration names Trello.
    void mondayButtonAction();
    void otherButtonAction();

protected:
    void changeEvent(QEvent *event) override;

private:
    void pick(ShareMethod method);
    void applyStyle();

    std::optional<ShareMethod> m_selectedOption;
    QPointer<QWidget> m_view;
    QPointer<QLabel> m_textLabel;
    std::function<void()> m_shareFunctionFromController;
    QPointer<QPushButton> m_mondayButton;
    QPointer<QPushButton> m_otherButton;
    ShareMethod m_trackerMethod = ShareMethod::monday;
};

} // namespace tessivo
