// Real X input for the display tests: every call runs xdotool, which sends
// XTEST events to the server, so the application under test receives them
// exactly as it would from a mouse and a keyboard.
#pragma once

#include <QList>
#include <QPoint>
#include <QString>
#include <QStringList>

class XdoTool
{
public:
    XdoTool(QString program, QString display);

    /// Runs one xdotool command line; false (with the reason in error())
    /// when it fails.
    bool run(const QStringList &arguments);
    QString error() const { return m_error; }

    bool move(QPoint to);
    bool click(QPoint at);
    /// A press, moves through `path` with the button held, and a release.
    bool drag(const QList<QPoint> &path);
    /// A key combination in xdotool's notation, such as "ctrl+alt+f".
    bool key(const QString &combination);
    bool type(const QString &text);
    /// Four quick reversals of horizontal direction around `centre`, with
    /// no button held: the pointer shake.
    bool pointerShake(QPoint centre);

private:
    QString m_program;
    QString m_display;
    QString m_error;
};
