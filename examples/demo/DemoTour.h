// The autopilot tour: the demo drives the kit with the input events a tester
// would make: the first-run notes, consent, a few seconds of animation, a
// shake, then a screenshot report with a stroke, a video report and a note
// report, each sent to the configured destination.
#pragma once

#include <QDateTime>
#include <QJsonArray>
#include <QObject>
#include <QString>
#include <QStringList>

class QWidget;

class DemoTour : public QObject
{
    Q_OBJECT
public:
    explicit DemoTour(QWidget *window, QObject *parent = nullptr);
    ~DemoTour() override;

    /// Runs the whole tour (spinning the event loop as it waits) and returns
    /// the process exit code: 0 only when every report landed.
    int run();

    /// Saves pictures of the kit open over the demo (and, given the inbox
    /// address, of the relay's inbox through headless Chromium) into `folder`.
    void setScreenshotFolder(const QString &folder) { m_screenshotFolder = folder; }

    /// The demo's own relay: the tour then waits for its reports in the
    /// inbox and lists their item ids and files.
    void setInbox(const QString &baseUrl, const QString &adminToken)
    {
        m_relayUrl = baseUrl;
        m_adminToken = adminToken;
    }

private:
    bool step(const QString &what, bool ok);
    bool shakeAndChoose(int tile);
    bool sendFromPanel(const QString &kind);
    bool firstRunAndConsent();
    bool screenshotReport();
    bool videoReport();
    bool noteReport();

    bool waitForUploads();
    bool listInboxItems();
    QJsonArray inboxItemsSinceStart();

    void saveScreenshots(const QString &name);
    void saveInboxScreenshot();

    QWidget *m_window;
    QString m_screenshotFolder;
    QString m_relayUrl;
    QString m_adminToken;
    QDateTime m_startedAt;
    QStringList m_console;
    int m_consoleToken = 0;
};
