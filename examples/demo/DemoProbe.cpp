#include "DemoProbe.h"

#include "core/TessivoKit.h"
#include "core/TopMost.h"
#include "platform/ViewController.h"

#include <QAbstractButton>
#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPixmap>
#include <QSaveFile>
#include <QWidget>

namespace {

constexpr int kPollMs = 100;

// The object names of the widget and its named ancestors, outermost first.
QString pathOf(const QWidget *widget)
{
    QStringList names;
    for (const QWidget *w = widget; w; w = w->parentWidget()) {
        if (!w->objectName().isEmpty())
            names.prepend(w->objectName());
    }
    return names.join(QLatin1Char('/'));
}

QString textOf(const QWidget *widget)
{
    if (const auto *button = qobject_cast<const QAbstractButton *>(widget))
        return button->text();
    if (const auto *label = qobject_cast<const QLabel *>(widget))
        return label->text();
    return {};
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
}

QWidget *findVisible(const QString &path)
{
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (!top->isVisible())
            continue;
        QList<QWidget *> all{top};
        all += top->findChildren<QWidget *>();
        for (QWidget *widget : std::as_const(all)) {
            if (widget->isVisible() && !widget->objectName().isEmpty() && pathOf(widget) == path)
                return widget;
        }
    }
    return nullptr;
}

} // namespace

DemoProbe::DemoProbe(QString folder, QObject *parent) : QObject(parent), m_folder(std::move(folder))
{
    QDir().mkpath(m_folder);
    connect(&m_timer, &QTimer::timeout, this, &DemoProbe::poll);
    m_timer.start(kPollMs);
}

DemoProbe *DemoProbe::fromEnvironment(QObject *parent)
{
    const QString folder = qEnvironmentVariable("TESSIVO_DEMO_PROBE");
    return folder.isEmpty() ? nullptr : new DemoProbe(folder, parent);
}

QByteArray DemoProbe::describe() const
{
    QJsonArray widgets;
    for (QWidget *top : QApplication::topLevelWidgets()) {
        if (!top->isVisible())
            continue;
        QList<QWidget *> all{top};
        all += top->findChildren<QWidget *>();
        for (const QWidget *widget : std::as_const(all)) {
            if (widget->objectName().isEmpty() || !widget->isVisible())
                continue;
            const QRect rect(widget->mapToGlobal(QPoint(0, 0)), widget->size());
            QJsonObject entry{{QStringLiteral("path"), pathOf(widget)},
                              {QStringLiteral("class"), QString::fromLatin1(widget->metaObject()->className())},
                              {QStringLiteral("rect"), QJsonArray{rect.x(), rect.y(), rect.width(), rect.height()}}};
            const QString text = textOf(widget);
            if (!text.isEmpty())
                entry.insert(QStringLiteral("text"), text);
            widgets.append(entry);
        }
    }
    const tessivo::ViewController *top = tessivo::topMostViewController();
    const QJsonObject state{
        {QStringLiteral("top"), top ? QString::fromLatin1(top->metaObject()->className()) : QString()},
        {QStringLiteral("topAppeared"), top && top->hasAppeared()},
        {QStringLiteral("recording"), bool(tessivo::TessivoKit::shared().isRecording)},
        {QStringLiteral("widgets"), widgets}};
    return QJsonDocument(state).toJson(QJsonDocument::Compact);
}

void DemoProbe::poll()
{
    answerGrabRequest();
    const QByteArray now = describe();
    if (now == m_last)
        return;
    m_last = now;
    // The sequence number tells a reader that a newer picture came.
    QJsonObject state = QJsonDocument::fromJson(now).object();
    state.insert(QStringLiteral("sequence"), ++m_sequence);
    writeFile(QDir(m_folder).filePath(QStringLiteral("widgets.json")),
              QJsonDocument(state).toJson(QJsonDocument::Compact));
}

void DemoProbe::answerGrabRequest()
{
    QFile request(QDir(m_folder).filePath(QStringLiteral("grab.request")));
    if (!request.exists() || !request.open(QIODevice::ReadOnly))
        return;
    const QString path = QString::fromUtf8(request.readAll()).trimmed();
    request.close();
    QWidget *widget = findVisible(path);
    QByteArray png;
    if (widget) {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        widget->grab().toImage().save(&buffer, "PNG");
    }
    // An empty answer: no such widget is visible.
    writeFile(QDir(m_folder).filePath(QStringLiteral("grab.png")), png);
    request.remove();
}
