// Alerts and action sheets, presented as an overlay like any controller.
#pragma once

#include "platform/ViewController.h"

#include <QList>
#include <QPointer>
#include <QRectF>

#include <functional>
#include <optional>

class QLabel;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

namespace tessivo {

enum class AlertControllerStyle { actionSheet = 0, alert = 1 };
enum class AlertActionStyle { default_ = 0, cancel = 1, destructive = 2 };

/// Arrow directions a popover may use (none: no arrow).
enum class PopoverArrowDirection : unsigned {
    none = 0,
    up = 1 << 0,
    down = 1 << 1,
    left = 1 << 2,
    right = 1 << 3,
    any = 0xF,
};

class AlertController;

class TESSIVO_EXPORT AlertAction
{
public:
    using Handler = std::function<void(const AlertAction &)>;
    AlertAction(QString title, AlertActionStyle style, Handler handler = {})
        : m_title(std::move(title)), m_style(style), m_handler(std::move(handler))
    {
    }
    QString title() const { return m_title; }
    AlertActionStyle style() const { return m_style; }
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled) { m_enabled = enabled; }
    const Handler &handler() const { return m_handler; }

private:
    QString m_title;
    AlertActionStyle m_style;
    Handler m_handler;
    bool m_enabled = true;
};

/// Where a popover points on large screens.
struct PopoverPresentation {
    QPointer<QWidget> sourceView;
    QRectF sourceRect;
    unsigned permittedArrowDirections = static_cast<unsigned>(PopoverArrowDirection::any);
};

class TESSIVO_EXPORT AlertController : public ViewController
{
    Q_OBJECT
public:
    AlertController(std::optional<QString> title, std::optional<QString> message,
                    AlertControllerStyle preferredStyle, QWidget *parent = nullptr);
    ~AlertController() override;

    std::optional<QString> alertTitle() const { return m_alertTitle; }
    std::optional<QString> message() const { return m_message; }
    AlertControllerStyle preferredStyle() const { return m_style; }

    void addAction(const AlertAction &action);
    QList<AlertAction> actions() const { return m_actions; }

    /// Adds a text field (alert style only); `configure` may set its
    /// placeholder, text and so on.
    void addTextField(const std::function<void(QLineEdit *)> &configure = {});
    QList<QLineEdit *> textFields() const;

    /// The popover anchor, present on large screens (the pad idiom) and
    /// absent on phones.
    PopoverPresentation *popoverPresentationController();

    /// The card that holds the alert's content, for layout checks.
    QWidget *card() const { return m_card; }
    /// Runs the action at `index` as a tap on its button would.
    void tapAction(int index);

protected:
    void viewDidLoad() override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool escapePressed() override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void traitCollectionDidChange(Appearance previous) override;

private:
    void buildButtons();
    void applyColors();
    void layoutCard();
    std::optional<int> cancelIndex() const;

    std::optional<QString> m_alertTitle;
    std::optional<QString> m_message;
    AlertControllerStyle m_style;
    QList<AlertAction> m_actions;
    std::optional<PopoverPresentation> m_popover;
    QWidget *m_card = nullptr;
    QVBoxLayout *m_cardLayout = nullptr;
    QLabel *m_titleLabel = nullptr;
    QLabel *m_messageLabel = nullptr;
    QWidget *m_fields = nullptr;
    QWidget *m_buttons = nullptr;
    QList<QPointer<QPushButton>> m_buttonWidgets;
    bool m_handled = false;
};

} // namespace tessivo
