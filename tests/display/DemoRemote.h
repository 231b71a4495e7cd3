// The demo host app as seen from outside its process: started on a given X
// display with a home of its own (so that it starts as on a fresh machine)
// and its probe on, it tells where its widgets are and how they look, and
// its relay's inbox tells which reports landed. Nothing here sends input.
#pragma once

#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QTemporaryDir>

#include <optional>

class DemoRemote
{
public:
    struct Widget {
        QString path; // object names from the window down, joined by '/'
        QString className;
        QString text;
        QRect rect; // global, in screen pixels
    };

    DemoRemote();
    ~DemoRemote();

    /// Starts `program` on `display`; waits for its relay and its first
    /// widget list. False with the reason in error() otherwise. Starting
    /// again after stop() keeps the home: the settings, the relay's data.
    bool start(const QString &program, const QString &display);
    void stop();
    QString error() const { return m_error; }
    /// Everything the demo printed so far, for failure messages.
    QString output() const { return m_output; }

    /// The latest widget list. Paths match by their last segments.
    QList<Widget> widgets() const;
    std::optional<Widget> find(const QString &pathSuffix, const QString &text = {}) const;
    QList<Widget> findAll(const QString &pathSuffix) const;
    std::optional<Widget> waitFor(const QString &pathSuffix, const QString &text = {}, int ms = 20000);
    bool waitForGone(const QString &pathSuffix, int ms = 20000);
    /// The class of the top-most kit controller once it has appeared.
    QString top() const;
    bool waitForTop(const QString &className, int ms = 20000);
    bool isRecording() const;

    /// The widget's rendering of itself, made by the demo (transparent
    /// where it paints nothing); null when it is not visible.
    QImage ownLook(const QString &path);

    /// The items of the relay's inbox, newest first.
    QJsonArray inboxItems();
    /// Waits until the inbox holds more than `count` items, the newest with
    /// a file of that MIME type prefix when one is given; the newest.
    std::optional<QJsonObject> waitForNewItem(qsizetype count, const QString &mimePrefix, int ms = 60000);

private:
    QJsonObject state() const;
    QString probeFile(const QString &name) const;

    QTemporaryDir m_home;
    QProcess m_process;
    QString m_output;
    QString m_relayUrl;
    QString m_adminToken;
    QString m_error;
};
