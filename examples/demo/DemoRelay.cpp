#include "DemoRelay.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <csignal>
#include <sys/prctl.h>

DemoRelay::DemoRelay(QString program, QString dataDir, QObject *parent)
    : QObject(parent), m_program(std::move(program)), m_dataDir(std::move(dataDir))
{
}

DemoRelay::~DemoRelay()
{
    if (m_server.state() != QProcess::NotRunning) {
        m_server.terminate(); // the relay finishes what is in flight
        if (!m_server.waitForFinished(5000))
            m_server.kill();
    }
}

bool DemoRelay::runAdmin(const QStringList &arguments, QString *output, QString *error)
{
    QProcess admin;
    admin.start(m_program, QStringList{QStringLiteral("--data-dir"), m_dataDir} + arguments);
    if (!admin.waitForFinished(15000) || admin.exitStatus() != QProcess::NormalExit || admin.exitCode() != 0) {
        *error = QStringLiteral("tessivo-relay %1 failed: %2")
                     .arg(arguments.join(QLatin1Char(' ')),
                          QString::fromUtf8(admin.readAllStandardError()).trimmed());
        return false;
    }
    *output = QString::fromUtf8(admin.readAllStandardOutput());
    return true;
}

bool DemoRelay::start(const QString &bundleId, QString *error)
{
    if (!QFileInfo(m_program).isExecutable()) {
        *error = QStringLiteral("no relay at %1").arg(m_program);
        return false;
    }
    QDir().mkpath(m_dataDir);
    QString products;
    if (!runAdmin({QStringLiteral("product"), QStringLiteral("list")}, &products, error))
        return false;
    const bool known = QRegularExpression(QStringLiteral("^[^\\t]+\\t%1\\t").arg(QRegularExpression::escape(bundleId)),
                                          QRegularExpression::MultilineOption)
                           .match(products)
                           .hasMatch();
    QString ignored;
    if (!known
        && !runAdmin({QStringLiteral("product"), QStringLiteral("add"), QStringLiteral("--bundle-id"), bundleId},
                     &ignored, error))
        return false;
    if (!runAdmin({QStringLiteral("admin-token")}, &m_adminToken, error))
        return false;
    m_adminToken = m_adminToken.trimmed();

    m_server.setProcessChannelMode(QProcess::SeparateChannels);
    // The relay stops with the demo, even when the demo is killed or crashes.
    m_server.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_server.start(m_program, {QStringLiteral("--data-dir"), m_dataDir, QStringLiteral("--port"),
                               QStringLiteral("0")});
    if (!m_server.waitForStarted(5000)) {
        *error = QStringLiteral("the relay did not start: %1").arg(m_server.errorString());
        return false;
    }
    // The relay says where it listens on its log (standard error).
    const QRegularExpression listening(QStringLiteral("listening on 127\\.0\\.0\\.1:(\\d+)"));
    QByteArray log;
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired() && m_server.state() == QProcess::Running) {
        m_server.waitForReadyRead(200);
        log += m_server.readAllStandardError();
        const auto match = listening.match(QString::fromUtf8(log));
        if (match.hasMatch()) {
            m_baseUrl = QStringLiteral("http://127.0.0.1:%1").arg(match.captured(1));
            // Keep draining the log so that the relay never blocks on it.
            connect(&m_server, &QProcess::readyReadStandardError, this,
                    [this] { m_server.readAllStandardError(); });
            return true;
        }
    }
    *error = QStringLiteral("the relay did not say where it listens: %1").arg(QString::fromUtf8(log).trimmed());
    return false;
}
