#include "DemoRemote.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTest>

namespace {

constexpr int kStartMs = 60000;

bool pathMatches(const QString &path, const QString &suffix)
{
    return path == suffix || path.endsWith(QLatin1Char('/') + suffix);
}

} // namespace

DemoRemote::DemoRemote()
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process,
                     [this] { m_output += QString::fromUtf8(m_process.readAllStandardOutput()); });
}

DemoRemote::~DemoRemote()
{
    stop();
}

QString DemoRemote::probeFile(const QString &name) const
{
    return QDir(m_home.path()).filePath(QStringLiteral("probe/") + name);
}

bool DemoRemote::start(const QString &program, const QString &display)
{
    if (!m_home.isValid()) {
        m_error = QStringLiteral("no temporary folder");
        return false;
    }
    const QDir home(m_home.path());
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"TESSIVO_RELAY_URL", "TESSIVO_TEST", "WAYLAND_DISPLAY", "SESSION_MANAGER"})
        env.remove(QString::fromLatin1(name));
    env.insert(QStringLiteral("DISPLAY"), display);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    // A machine on which the demo never ran: its own settings, data and caches.
    const QStringList folders{QStringLiteral("home"), QStringLiteral("config"), QStringLiteral("data"),
                              QStringLiteral("cache"), QStringLiteral("runtime"), QStringLiteral("photos"),
                              QStringLiteral("probe")};
    for (const QString &folder : folders)
        home.mkpath(folder);
    QFile::setPermissions(home.filePath(QStringLiteral("runtime")),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    env.insert(QStringLiteral("HOME"), home.filePath(QStringLiteral("home")));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), home.filePath(QStringLiteral("cache")));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.filePath(QStringLiteral("runtime")));
    env.insert(QStringLiteral("TESSIVO_PHOTO_LIBRARY_DIR"), home.filePath(QStringLiteral("photos")));
    env.insert(QStringLiteral("TESSIVO_DEMO_PROBE"), home.filePath(QStringLiteral("probe")));
    m_process.setProcessEnvironment(env);
    m_process.setWorkingDirectory(m_home.path());
    // A restart keeps the home, not the last run's widget list or output.
    QFile::remove(probeFile(QStringLiteral("widgets.json")));
    m_output.clear();
    m_relayUrl.clear();
    m_adminToken.clear();
    m_process.start(program, {});
    if (!m_process.waitForStarted(10000)) {
        m_error = QStringLiteral("the demo did not start: %1").arg(m_process.errorString());
        return false;
    }
    const QRegularExpression relay(QStringLiteral("tessivo-demo: relay at (\\S+)"));
    const QRegularExpression token(QStringLiteral("tessivo-demo: inbox admin token (\\S+)"));
    const bool ready = QTest::qWaitFor(
        [&] {
            if (m_process.state() != QProcess::Running)
                return true;
            m_relayUrl = relay.match(m_output).captured(1);
            m_adminToken = token.match(m_output).captured(1);
            return !m_relayUrl.isEmpty() && !m_adminToken.isEmpty() && QFile::exists(probeFile(QStringLiteral("widgets.json")));
        },
        kStartMs);
    if (!ready || m_process.state() != QProcess::Running || m_relayUrl.isEmpty()) {
        m_error = QStringLiteral("the demo did not come up with its relay and probe:\n%1").arg(m_output);
        return false;
    }
    return true;
}

void DemoRemote::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(10000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

QJsonObject DemoRemote::state() const
{
    QFile file(probeFile(QStringLiteral("widgets.json")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

QList<DemoRemote::Widget> DemoRemote::widgets() const
{
    QList<Widget> list;
    const QJsonArray entries = state().value(QStringLiteral("widgets")).toArray();
    for (const QJsonValue &value : entries) {
        const QJsonArray r = value[QStringLiteral("rect")].toArray();
        list.append({value[QStringLiteral("path")].toString(), value[QStringLiteral("class")].toString(),
                     value[QStringLiteral("text")].toString(),
                     QRect(r.at(0).toInt(), r.at(1).toInt(), r.at(2).toInt(), r.at(3).toInt())});
    }
    return list;
}

QList<DemoRemote::Widget> DemoRemote::findAll(const QString &pathSuffix) const
{
    QList<Widget> found;
    for (const Widget &widget : widgets()) {
        if (pathMatches(widget.path, pathSuffix) && !widget.rect.isEmpty())
            found.append(widget);
    }
    return found;
}

std::optional<DemoRemote::Widget> DemoRemote::find(const QString &pathSuffix, const QString &text) const
{
    for (const Widget &widget : findAll(pathSuffix)) {
        if (text.isEmpty() || widget.text == text)
            return widget;
    }
    return std::nullopt;
}

std::optional<DemoRemote::Widget> DemoRemote::waitFor(const QString &pathSuffix, const QString &text, int ms)
{
    std::optional<Widget> found;
    (void)QTest::qWaitFor([&] { return bool(found = find(pathSuffix, text)); }, ms);
    return found;
}

bool DemoRemote::waitForGone(const QString &pathSuffix, int ms)
{
    return QTest::qWaitFor([&] { return findAll(pathSuffix).isEmpty(); }, ms);
}

QString DemoRemote::top() const
{
    const QJsonObject now = state();
    return now.value(QStringLiteral("topAppeared")).toBool() ? now.value(QStringLiteral("top")).toString() : QString();
}

bool DemoRemote::waitForTop(const QString &className, int ms)
{
    return QTest::qWaitFor([&] { return top() == className; }, ms);
}

bool DemoRemote::isRecording() const
{
    return state().value(QStringLiteral("recording")).toBool();
}

QImage DemoRemote::ownLook(const QString &path)
{
    const QString answer = probeFile(QStringLiteral("grab.png"));
    QFile::remove(answer);
    QSaveFile request(probeFile(QStringLiteral("grab.request")));
    if (!request.open(QIODevice::WriteOnly) || request.write(path.toUtf8()) < 0 || !request.commit())
        return {};
    if (!QTest::qWaitFor([&] { return !QFile::exists(probeFile(QStringLiteral("grab.request"))); }, 10000))
        return {};
    return QImage(answer);
}

QJsonArray DemoRemote::inboxItems()
{
    QNetworkAccessManager network;
    QNetworkRequest request(QUrl(m_relayUrl + QStringLiteral("/inbox/items")));
    request.setRawHeader("Authorization", "Bearer " + m_adminToken.toUtf8());
    request.setTransferTimeout(10000);
    QNetworkReply *reply = network.get(request);
    (void)QTest::qWaitFor([reply] { return reply->isFinished(); }, 15000);
    const QJsonArray items =
        QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("items")).toArray();
    reply->deleteLater();
    return items;
}

std::optional<QJsonObject> DemoRemote::waitForNewItem(qsizetype count, const QString &mimePrefix, int ms)
{
    // An item is made first and its file uploaded after it.
    QJsonObject newest;
    const auto landed = [&] {
        const QJsonArray items = inboxItems();
        if (items.size() <= count)
            return false;
        newest = items.first().toObject();
        const QJsonArray files = newest.value(QStringLiteral("files")).toArray();
        return mimePrefix.isEmpty()
            || (!files.isEmpty() && files.first()[QStringLiteral("mimeType")].toString().startsWith(mimePrefix));
    };
    if (!QTest::qWaitFor(landed, ms))
        return std::nullopt;
    return newest;
}
