#include "metadata/MetadataView.h"

#include "metadata/DeviceMetadata.h"
#include "metadata/MetadataTexts.h"
#include "metadata/NoteTypeCollectionViewCell.h"
#include "platform/ContentView.h"

#include "ui_MetadataView.h"

#include <QEvent>
#include <QFontDatabase>
#include <QPainter>
#include <QPainterPath>

namespace tessivo {
namespace {

constexpr int kIconSide = 44;

QPixmap roundedIcon(const QImage &image, qreal devicePixelRatio)
{
    const int side = qRound(kIconSide * devicePixelRatio);
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(0, 0, side, side), side * 0.225, side * 0.225);
    painter.setClipPath(clip);
    painter.drawImage(QRectF(0, 0, side, side), image);
    painter.end();
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

} // namespace

MetadataView::MetadataView(QWidget *parent) : QWidget(parent)
{
    Ui::MetadataView ui;
    m_view = loadContentView(this, ui);
    m_deviceTypeTag = requireOutlet(ui.deviceTypeTag, "deviceTypeTag");
    m_deviceOSVersionTag = requireOutlet(ui.deviceOSVersionTag, "deviceOSVersionTag");
    m_versionTag = requireOutlet(ui.versionTag, "versionTag");
    m_collectionView = requireOutlet(ui.collectionView, "collectionView");
    m_appNameLabel = requireOutlet(ui.appNameLabel, "appNameLabel");
    m_appIconImageView = requireOutlet(ui.appIconImageView, "appIconImageView");
    m_appVersionLabel = requireOutlet(ui.appVersionLabel, "appVersionLabel");
    m_userInfoLabel = requireOutlet(ui.userInfoLabel, "userInfoLabel");
    m_noteLabel = requireOutlet(ui.noteLabel, "noteLabel");
    m_tagRow = requireOutlet(ui.tagRow, "tagRow");
    m_cardLayout = requireOutlet(ui.cardLayout, "cardLayout");
    m_trailingLayout = requireOutlet(ui.trailingLayout, "trailingLayout");

    m_userInfoLabel->setForegroundRole(QPalette::PlaceholderText);
    m_noteLabel->setFont(noteFont());
    m_appIconImageView->setFixedSize(kIconSide, kIconSide);

    m_collectionView->registerCell(QString::fromLatin1(NoteTypeCollectionViewCell::kReuseIdentifier),
                                   [](QWidget *parent) { return new NoteTypeCollectionViewCell(parent); });
    m_collectionView->setDataSource({
        [this] { return static_cast<int>(m_selectedNoteTypes.size()); },
        [this](int index) -> CollectionViewCell * {
            auto *cell = static_cast<NoteTypeCollectionViewCell *>(m_collectionView->dequeueReusableCell(
                QString::fromLatin1(NoteTypeCollectionViewCell::kReuseIdentifier), index));
            cell->setTagString(m_selectedNoteTypes.at(index));
            return cell;
        },
        [this](int index) {
            return QSize(TagView::widthFor(m_selectedNoteTypes.at(index)), m_collectionView->height());
        },
        [] { return QMargins(); },
    });
    refresh();
}

void MetadataView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    arrange(width() >= kWideWidth);
}

void MetadataView::arrange(bool wide)
{
    if (wide == m_wide)
        return;
    m_wide = wide;
    for (QWidget *moved : {static_cast<QWidget *>(m_userInfoLabel), m_tagRow.data()}) {
        m_cardLayout->removeWidget(moved);
        m_trailingLayout->removeWidget(moved);
    }
    if (wide) {
        m_userInfoLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        m_trailingLayout->addWidget(m_userInfoLabel, 0, Qt::AlignRight);
        m_trailingLayout->addWidget(m_tagRow, 0, Qt::AlignRight);
    } else {
        m_userInfoLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        m_cardLayout->insertWidget(1, m_userInfoLabel);
        m_cardLayout->addWidget(m_tagRow);
    }
}

QFont MetadataView::noteFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(15);
    return font;
}

void MetadataView::setMetadata(const CaptureInfo &metadata)
{
    m_metadata = metadata;
    m_selectedNoteTypes = metadata.selectedNoteTypes;
    refresh();
}

void MetadataView::setSelectedNoteTypes(const QStringList &types)
{
    m_selectedNoteTypes = types;
    reloadNoteTypes();
}

void MetadataView::reloadNoteTypes()
{
    m_collectionView->reloadData();
    // An empty row would leave a gap in the card.
    m_collectionView->setVisible(!m_selectedNoteTypes.isEmpty());
}

void MetadataView::setTag(TagView *tag, const QString &text)
{
    tag->configure(TagViewStyle::outline, text);
    tag->setFixedWidth(TagView::widthFor(text));
}

void MetadataView::refresh()
{
    setTag(m_deviceTypeTag, metadata::deviceModelName());
    setTag(m_deviceOSVersionTag, metadata::osVersionText());
    setTag(m_versionTag, metadata::appVersionText());

    m_appNameLabel->setText(metadata::appDisplayName().value_or(QString()));
    showAppIcon();
    m_appVersionLabel->setText(metadata::appVersionAttributedText(m_appVersionLabel->font()).toHtml());

    m_layoutTime = QDateTime::currentDateTime();
    m_userInfoLabel->setText(metadata::userInfoText(m_layoutTime));
    m_noteLabel->setText(metadata::noteAttributedText(m_metadata, noteFont()).toHtml());
    reloadNoteTypes();
}

void MetadataView::showAppIcon()
{
    const std::optional<QImage> icon = metadata::appIconImage();
    if (icon) {
        m_appIconImageView->setPixmap(roundedIcon(*icon, std::max<qreal>(2, devicePixelRatioF())));
        m_appIconImageView->show();
    } else {
        m_appIconImageView->clear();
        m_appIconImageView->hide();
    }
}

AttributedText MetadataView::deviceLineText() const
{
    return metadata::deviceLineText(font(), appearanceOf(this));
}

QString MetadataView::reportSummary() const
{
    return metadata::reportSummary(m_metadata, m_layoutTime);
}

} // namespace tessivo
