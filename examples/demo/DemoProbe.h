// A test hook of the demo, off unless TESSIVO_DEMO_PROBE names a folder: it
// tells a driver outside the process where things are on the screen, so that
// the driver can aim real input at them. It never sends input itself.
//
// In that folder it keeps "widgets.json" up to date (every visible widget
// that has an object name, with its global rectangle, the chain of named
// ancestors, its text, and the top-most kit controller), and answers a file
// "grab.request" holding a widget's path suffix with "grab.png", the
// widget's own rendering of itself.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

class DemoProbe : public QObject
{
    Q_OBJECT
public:
    explicit DemoProbe(QString folder, QObject *parent = nullptr);

    /// A probe on the folder in TESSIVO_DEMO_PROBE, or none when it is unset.
    static DemoProbe *fromEnvironment(QObject *parent);

private:
    void poll();
    QByteArray describe() const;
    void answerGrabRequest();

    QString m_folder;
    QTimer m_timer;
    QByteArray m_last;
    int m_sequence = 0;
};
