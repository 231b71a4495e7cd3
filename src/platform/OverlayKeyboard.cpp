#include "platform/OverlayKeyboard.h"

#include "platform/ViewController.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollArea>

#include <algorithm>

namespace tessivo {

// A ring around the focused control. It is a child of the top-most
// controller, above everything in it, and lets the pointer through.
class FocusRing final : public QWidget
{
public:
    static constexpr int kOutset = 3;

    explicit FocusRing(QWidget *parent) : QWidget(parent)
    {
        setObjectName(QStringLiteral("tessivo.focusRing"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
    }

    void follow(QWidget *target)
    {
        if (m_target == target)
            return;
        if (m_target)
            m_target->removeEventFilter(this);
        m_target = target;
        if (target)
            target->installEventFilter(this);
        place();
    }

    void place()
    {
        if (!m_target || !m_target->isVisible() || !parentWidget()) {
            hide();
            return;
        }
        const QPoint at = m_target->mapTo(parentWidget(), QPoint(0, 0));
        setGeometry(QRect(at, m_target->size()).adjusted(-kOutset, -kOutset, kOutset, kOutset));
        raise();
        show();
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == m_target) {
            switch (event->type()) {
            case QEvent::Move:
            case QEvent::Resize:
            case QEvent::Show:
            case QEvent::Hide:
                place();
                break;
            default:
                break;
            }
        }
        return QWidget::eventFilter(watched, event);
    }

    void paintEvent(QPaintEvent *) override
    {
        // The selection colour inside a band of the base colour: one of the
        // two stands out on any background, light or dark.
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRectF outer = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        painter.setPen(QPen(palette().color(QPalette::Base), 1));
        painter.drawRoundedRect(outer, 6, 6);
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.drawRoundedRect(outer.adjusted(1.5, 1.5, -1.5, -1.5), 5, 5);
    }

private:
    QPointer<QWidget> m_target;
};

namespace {

ViewController *rootControllerOf(QWidget *window)
{
    if (!window)
        return nullptr;
    if (auto *controller = qobject_cast<ViewController *>(window))
        return controller;
    return window->findChild<ViewController *>(QStringLiteral("tessivo.windowRoot"), Qt::FindDirectChildrenOnly);
}

bool plainKey(const QKeyEvent *key)
{
    return !(key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier));
}

} // namespace

OverlayKeyboard &OverlayKeyboard::shared()
{
    static auto *keyboard = new OverlayKeyboard; // process lifetime
    return *keyboard;
}

OverlayKeyboard::OverlayKeyboard()
{
    qApp->installEventFilter(this);
    connect(qApp, &QApplication::focusChanged, this, &OverlayKeyboard::focusChanged);
}

void OverlayKeyboard::markCancelButton(QAbstractButton *button)
{
    if (button)
        button->setProperty(kCancelButtonProperty, true);
}

QWidget *OverlayKeyboard::focusRing() const
{
    return m_ring && m_ring->isVisible() ? m_ring.data() : nullptr;
}

ViewController *OverlayKeyboard::topPresented(QWidget *window)
{
    // What a controller presents, or what a controller it holds (a
    // navigation stack's screen) presents; none that is leaving.
    auto presentedBy = [](ViewController *controller) -> ViewController * {
        auto live = [](ViewController *p) { return p && !p->isBeingDismissed() ? p : nullptr; };
        if (ViewController *presented = live(controller->presentedViewController()))
            return presented;
        for (ViewController *inner : controller->findChildren<ViewController *>()) {
            if (ViewController *presented = live(inner->presentedViewController()))
                return presented;
        }
        return nullptr;
    };
    ViewController *root = rootControllerOf(window ? window->window() : nullptr);
    ViewController *top = root;
    while (top) {
        ViewController *next = presentedBy(top);
        if (!next)
            break;
        top = next;
    }
    return top == root ? nullptr : top;
}

QList<QWidget *> OverlayKeyboard::tabChain(const QWidget *controller)
{
    QList<QWidget *> chain;
    if (!controller)
        return chain;
    // The window's focus chain holds every widget once; keep the
    // controller's own controls, in that order.
    for (QWidget *w = controller->nextInFocusChain(); w && w != controller; w = w->nextInFocusChain()) {
        if (controller->isAncestorOf(w) && w->isVisible() && w->isEnabled() && !w->focusProxy()
            && (w->focusPolicy() & Qt::TabFocus) == Qt::TabFocus && w->objectName() != u"tessivo.focusRing")
            chain.append(w);
    }
    return chain;
}

void OverlayKeyboard::presented(ViewController *controller)
{
    QWidget *window = controller ? controller->window() : nullptr;
    if (!window)
        return;
    m_hostFocus.removeIf([](const HostFocus &entry) { return entry.window.isNull(); });
    const bool known = std::any_of(m_hostFocus.cbegin(), m_hostFocus.cend(),
                                   [window](const HostFocus &entry) { return entry.window == window; });
    if (!known)
        m_hostFocus.append(HostFocus{window, window->focusWidget()});
    controller->setFocus(Qt::OtherFocusReason);
    updateRing();
}

void OverlayKeyboard::dismissed(QWidget *window)
{
    if (!window || topPresented(window))
        return;
    m_lastFocus.removeIf([](const auto &entry) { return entry.value().isNull(); });
    QPointer<QWidget> had;
    for (qsizetype i = 0; i < m_hostFocus.size(); ++i) {
        if (m_hostFocus[i].window == window) {
            had = m_hostFocus.takeAt(i).widget;
            break;
        }
    }
    if (had && had->isVisible() && had->isEnabled())
        had->setFocus(Qt::OtherFocusReason);
    updateRing();
}

void OverlayKeyboard::focusChanged(QWidget *, QWidget *now)
{
    if (!now)
        return;
    ViewController *top = topPresented(now->window());
    if (!top)
        return;
    if (top == now || top->isAncestorOf(now)) {
        if (top != now)
            m_lastFocus.insert(top, now);
        updateRing();
        return;
    }
    // Behind the overlay: back to the control that had focus in the
    // top-most controller, else to the controller itself.
    QWidget *last = m_lastFocus.value(top);
    if (last && top->isAncestorOf(last) && last->isVisible() && last->isEnabled())
        last->setFocus(Qt::OtherFocusReason);
    else
        top->setFocus(Qt::OtherFocusReason);
}

void OverlayKeyboard::moveFocus(ViewController *top, bool forward)
{
    const QList<QWidget *> chain = tabChain(top);
    if (chain.isEmpty())
        return;
    const qsizetype at = chain.indexOf(QApplication::focusWidget() ? QApplication::focusWidget() : top->focusWidget());
    qsizetype next;
    if (at < 0)
        next = forward ? 0 : chain.size() - 1;
    else
        next = (at + (forward ? 1 : chain.size() - 1)) % chain.size();
    QWidget *target = chain[next];
    for (QWidget *w = target->parentWidget(); w && w != top; w = w->parentWidget()) {
        if (auto *area = qobject_cast<QScrollArea *>(w); area && area->widget() && area->widget()->isAncestorOf(target))
            area->ensureWidgetVisible(target);
    }
    m_keyboardMode = true;
    target->setFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    updateRing();
}

void OverlayKeyboard::updateRing()
{
    QWidget *focus = QApplication::focusWidget();
    ViewController *top = focus ? topPresented(focus->window()) : nullptr;
    const bool show = m_keyboardMode && top && focus != top && top->isAncestorOf(focus);
    if (!show) {
        if (m_ring)
            m_ring->follow(nullptr);
        return;
    }
    if (!m_ring)
        m_ring = new FocusRing(top);
    else if (m_ring->parentWidget() != top)
        m_ring->setParent(top);
    m_ring->follow(focus);
    m_ring->place();
}

bool OverlayKeyboard::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if (type == QEvent::MouseButtonPress && m_keyboardMode) {
        m_keyboardMode = false;
        updateRing();
        return false;
    }
    if (type != QEvent::KeyPress && type != QEvent::ShortcutOverride)
        return false;
    auto *widget = qobject_cast<QWidget *>(watched);
    if (!widget || widget->isHidden())
        return false;
    auto *key = static_cast<QKeyEvent *>(event);
    if (!plainKey(key))
        return false;
    ViewController *top = topPresented(widget->window());
    if (!top)
        return false;
    QWidget *focus = QApplication::focusWidget();
    auto *button = qobject_cast<QAbstractButton *>(focus);
    const bool pressButton = button && top->isAncestorOf(button)
        && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter);
    const bool ours = key->key() == Qt::Key_Escape || key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab
        || pressButton;
    if (!ours)
        return false;
    // Claim the key before shortcuts (the host's included) see it.
    key->accept();
    if (type == QEvent::ShortcutOverride)
        return true;
    switch (key->key()) {
    case Qt::Key_Escape:
        if (!key->isAutoRepeat())
            top->escapePressed();
        break;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        moveFocus(top, key->key() == Qt::Key_Tab && !(key->modifiers() & Qt::ShiftModifier));
        break;
    default:
        if (!key->isAutoRepeat())
            button->click();
        break;
    }
    return true;
}

} // namespace tessivo
