#include "platform/ActivityViewController.h"

#include "platform/Layer.h"
#include "platform/PhotoLibrary.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QStandardPaths>
#include <QUrlQuery>
#include <QVBoxLayout>

namespace tessivo {
namespace {

ActivityViewController::SavePathProvider &savePathProvider()
{
    static ActivityViewController::SavePathProvider provider =
        [](QWidget *parent, const QString &suggested) {
            const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
            return QFileDialog::getSaveFileName(parent, QObject::tr("Save"),
                                                QDir(folder).filePath(suggested));
        };
    return provider;
}

QString titleOf(ActivityType type)
{
    switch (type) {
    case ActivityType::copyToPasteboard:
        return QObject::tr("Copy");
    case ActivityType::saveToFile:
        return QObject::tr("Save to File…");
    case ActivityType::saveToCameraRoll:
        return QObject::tr("Save to Photos");
    case ActivityType::openInDefaultApplication:
        return QObject::tr("Open");
    case ActivityType::mail:
        return QObject::tr("Mail");
    }
    return {};
}

} // namespace

QString rawValue(ActivityType type)
{
    switch (type) {
    case ActivityType::copyToPasteboard:
        return QStringLiteral("tessivo.activity.copyToPasteboard");
    case ActivityType::saveToFile:
        return QStringLiteral("tessivo.activity.saveToFile");
    case ActivityType::saveToCameraRoll:
        return QStringLiteral("tessivo.activity.saveToCameraRoll");
    case ActivityType::openInDefaultApplication:
        return QStringLiteral("tessivo.activity.openInDefaultApplication");
    case ActivityType::mail:
        return QStringLiteral("tessivo.activity.mail");
    }
    return {};
}

void ActivityViewController::setSavePathProvider(SavePathProvider provider)
{
    savePathProvider() = std::move(provider);
}

ActivityViewController::ActivityViewController(const QVariantList &activityItems, QWidget *parent)
    : ViewController(parent), m_items(activityItems)
{
    setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    setModalTransitionStyle(ModalTransitionStyle::crossDissolve);
    if (!m_items.isEmpty())
        m_activities = {ActivityType::copyToPasteboard, ActivityType::saveToFile,
                        ActivityType::saveToCameraRoll, ActivityType::openInDefaultApplication,
                        ActivityType::mail};

    m_card = new QWidget(this);
    m_card->setObjectName(QStringLiteral("shareSheetCard"));
    Layer::of(m_card)->setCornerRadius(16);
    auto *layout = new QVBoxLayout(m_card);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(8);
    auto *title = new QLabel(tr("Share"), m_card);
    QFont font = title->font();
    font.setBold(true);
    title->setFont(font);
    title->setAlignment(Qt::AlignCenter);
    layout->addWidget(title);
    if (m_items.isEmpty())
        layout->addWidget(new QLabel(tr("There is nothing to share."), m_card));
    for (ActivityType type : m_activities) {
        auto *button = new QPushButton(titleOf(type), m_card);
        button->setObjectName(rawValue(type));
        button->setMinimumHeight(40);
        button->setCursor(Qt::PointingHandCursor);
        connect(button, &QPushButton::clicked, this, [this, type] { perform(type); });
        layout->addWidget(button);
    }
    auto *cancelButton = new QPushButton(tr("Cancel"), m_card);
    cancelButton->setMinimumHeight(40);
    connect(cancelButton, &QPushButton::clicked, this, &ActivityViewController::cancel);
    layout->addWidget(cancelButton);
}

ActivityViewController::~ActivityViewController() = default;

QString ActivityViewController::suggestedName() const
{
    for (const QVariant &item : m_items) {
        if (item.canConvert<QUrl>() && item.toUrl().isLocalFile())
            return QFileInfo(item.toUrl().toLocalFile()).fileName();
    }
    return QStringLiteral("Tessivo report.png");
}

// The item as a file on disk: the file itself, or the image as a PNG.
QString ActivityViewController::writeTemporaryCopy() const
{
    for (const QVariant &item : m_items) {
        if (item.typeId() == QMetaType::QImage) {
            const QString dir = QDir(QStandardPaths::writableLocation(QStandardPaths::TempLocation))
                                    .filePath(QStringLiteral("tessivo-share"));
            QDir().mkpath(dir);
            const QString path = QDir(dir).filePath(suggestedName());
            return item.value<QImage>().save(path, "PNG") ? path : QString();
        }
        if (item.canConvert<QUrl>() && item.toUrl().isLocalFile())
            return item.toUrl().toLocalFile();
    }
    return {};
}

bool ActivityViewController::run(ActivityType type)
{
    const QVariant first = m_items.value(0);
    const bool isImage = first.typeId() == QMetaType::QImage;
    switch (type) {
    case ActivityType::copyToPasteboard: {
        auto *mime = new QMimeData;
        if (isImage)
            mime->setImageData(first.value<QImage>());
        else
            mime->setUrls({first.toUrl()});
        QApplication::clipboard()->setMimeData(mime);
        return true;
    }
    case ActivityType::saveToFile: {
        const QString source = writeTemporaryCopy();
        const QString target = savePathProvider()(this, suggestedName());
        if (source.isEmpty() || target.isEmpty())
            return false;
        QFile::remove(target);
        return QFile::copy(source, target);
    }
    case ActivityType::saveToCameraRoll: {
        // Saved in the background; the activity is done once handed over.
        auto ignore = [](std::optional<QString>, QString) {};
        if (isImage)
            PhotoLibrary::shared().saveImage(first.value<QImage>(), ignore);
        else
            PhotoLibrary::shared().saveVideo(first.toUrl().toLocalFile(), ignore);
        return PhotoLibrary::shared().authorizationStatus() == PhotoAuthorizationStatus::authorized;
    }
    case ActivityType::openInDefaultApplication: {
        const QString path = writeTemporaryCopy();
        return !path.isEmpty() && QDesktopServices::openUrl(QUrl::fromLocalFile(path));
    }
    case ActivityType::mail: {
        const QString path = writeTemporaryCopy();
        QUrl mail(QStringLiteral("mailto:"));
        QUrlQuery query;
        query.addQueryItem(QStringLiteral("subject"), tr("Feedback report"));
        query.addQueryItem(QStringLiteral("body"), tr("The report is attached: %1").arg(path));
        query.addQueryItem(QStringLiteral("attachment"), path);
        mail.setQuery(query);
        return !path.isEmpty() && QDesktopServices::openUrl(mail);
    }
    }
    return false;
}

void ActivityViewController::perform(ActivityType type)
{
    if (m_finished || !m_activities.contains(type))
        return;
    finish(type, run(type));
}

void ActivityViewController::cancel()
{
    finish(std::nullopt, false);
}

void ActivityViewController::finish(std::optional<ActivityType> activity, bool completed)
{
    if (m_finished)
        return;
    m_finished = true;
    Completion completion = m_completion;
    dismiss(true, [completion, activity, completed] {
        if (completion)
            completion(activity, completed);
    });
}

void ActivityViewController::layoutCard()
{
    const int width = std::min(320, std::max(0, this->width() - 16));
    m_card->setFixedWidth(width);
    m_card->adjustSize();
    QRect frame(0, 0, width, m_card->sizeHint().height());
    if (m_popover.sourceView && m_popover.sourceView->window() == window())
        frame.moveCenter(mapFrom(window(), m_popover.sourceView->mapTo(window(), m_popover.sourceRect.center().toPoint())));
    else
        frame.moveCenter(rect().center());
    m_card->setGeometry(frame);
    const bool dark = appearanceOf(this) == Appearance::dark;
    Layer::of(m_card)->setBackgroundColor(dark ? QColor(44, 44, 46) : QColor(248, 248, 250));
}

void ActivityViewController::resizeEvent(QResizeEvent *event)
{
    ViewController::resizeEvent(event);
    layoutCard();
}

void ActivityViewController::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), QColor(0, 0, 0, 90));
}

void ActivityViewController::mousePressEvent(QMouseEvent *event)
{
    if (!m_card->geometry().contains(event->pos()))
        cancel();
}

bool ActivityViewController::escapePressed()
{
    if (m_finished)
        return false;
    cancel();
    return true;
}

} // namespace tessivo
