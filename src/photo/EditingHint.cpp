#include "photo/EditingHint.h"

#include "platform/Appearance.h"

#include <QEvent>

namespace tessivo {

const QString EditingHint::kText = QStringLiteral(
    "Drag to move \u00b7 Ctrl+wheel or pinch to resize \u00b7 Shift+wheel to rotate \u00b7 "
    "Delete key or drag to the bin to remove");

EditingHint::EditingHint(QWidget *editor, const QList<QWidget *> &bars) : QLabel(kText, editor)
{
    setObjectName(QStringLiteral("tessivo.editingHint"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setMargin(4);
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    setFont(small);
    editor->installEventFilter(this);
    for (QWidget *bar : bars) {
        if (!bar)
            continue;
        m_bars.append(bar);
        bar->installEventFilter(this);
    }
    applyColors();
    hide();
    place();
}

bool EditingHint::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::Move:
    case QEvent::Resize:
        if (watched == parent() || m_bars.contains(qobject_cast<QWidget *>(watched)))
            place();
        break;
    case QEvent::PaletteChange:
        if (watched == parent())
            applyColors();
        break;
    default:
        break;
    }
    return QLabel::eventFilter(watched, event);
}

void EditingHint::place()
{
    QWidget *editor = parentWidget();
    QWidget *shown = nullptr;
    for (const QPointer<QWidget> &bar : std::as_const(m_bars)) {
        if (bar && bar->isVisibleTo(editor))
            shown = bar;
    }
    if (!editor || !shown) {
        hide();
        return;
    }
    const int width = std::max(0, editor->width() - 16);
    const int height = heightForWidth(width);
    const int barTop = shown->mapTo(editor, QPoint(0, 0)).y();
    setGeometry(8, std::max(0, barTop - height - 6), width, height);
    raise();
    show();
}

void EditingHint::applyColors()
{
    // A dark or light chip, whichever the appearance is not, so that it
    // reads over any screenshot.
    const bool dark = appearanceOf(parentWidget()) == Appearance::dark;
    const QString sheet = dark
        ? QStringLiteral("QLabel { color: black; background: rgba(255, 255, 255, 210); border-radius: 8px; }")
        : QStringLiteral("QLabel { color: white; background: rgba(0, 0, 0, 170); border-radius: 8px; }");
    if (styleSheet() != sheet)
        setStyleSheet(sheet);
}

} // namespace tessivo
