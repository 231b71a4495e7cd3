#include "platform/Appearance.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>
#include <QWidget>

namespace tessivo {

Appearance appearanceOf(const QPalette &palette)
{
    const int window = palette.color(QPalette::Window).lightness();
    const int text = palette.color(QPalette::WindowText).lightness();
    return window < text ? Appearance::dark : Appearance::light;
}

Appearance appearanceOf(const QWidget *widget)
{
    return appearanceOf(widget ? widget->palette() : QApplication::palette());
}

QPalette paletteFor(Appearance appearance)
{
    if (appearance == Appearance::light)
        return QApplication::style() ? QApplication::style()->standardPalette() : QPalette();

    QPalette p;
    const QColor window(28, 28, 30);
    const QColor base(44, 44, 46);
    const QColor text(242, 242, 247);
    const QColor disabled(142, 142, 147);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, base);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::white);
    p.setColor(QPalette::Highlight, QColor(10, 132, 255));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, disabled);
    p.setColor(QPalette::Light, QColor(72, 72, 74));
    p.setColor(QPalette::Midlight, QColor(58, 58, 60));
    p.setColor(QPalette::Mid, QColor(44, 44, 46));
    p.setColor(QPalette::Dark, QColor(18, 18, 20));
    p.setColor(QPalette::Shadow, Qt::black);
    p.setColor(QPalette::Link, QColor(10, 132, 255));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, disabled);
    return p;
}

} // namespace tessivo
