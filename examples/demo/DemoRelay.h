// The demo's own relay: a tessivo-relay process on 127.0.0.1 with its SQLite
// default, holding a product for the demo app whose reports land in the
// relay's inbox.
#pragma once

#include <QObject>
#include <QProcess>
#include <QString>

class DemoRelay : public QObject
{
    Q_OBJECT
public:
    explicit DemoRelay(QString program, QString dataDir, QObject *parent = nullptr);
    ~DemoRelay() override;

    /// Registers `bundleId` (once) and starts the server on a free port.
    /// Returns false with `error` set when the relay cannot run.
    bool start(const QString &bundleId, QString *error);

    QString baseUrl() const { return m_baseUrl; }
    QString adminToken() const { return m_adminToken; }
    QString inboxUrl() const { return m_baseUrl + QStringLiteral("/inbox?token=") + m_adminToken; }
    qint64 processId() const { return m_server.processId(); }

private:
    bool runAdmin(const QStringList &arguments, QString *output, QString *error);

    QString m_program;
    QString m_dataDir;
    QProcess m_server;
    QString m_baseUrl;
    QString m_adminToken;
};
