// The card that describes a report: the host app's icon, name and version,
// the device and the time, the tester's name and note, the chosen note
// types, and tags for the device model, the OS and the app version.
#pragma once

#include "core/CaptureInfo.h"
#include "metadata/AttributedText.h"
#include "metadata/CollectionView.h"
#include "metadata/TagView.h"
#include "tessivo_export.h"

#include <QDateTime>
#include <QBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT MetadataView : public QWidget
{
    Q_OBJECT
public:
    explicit MetadataView(QWidget *parent = nullptr);

    CaptureInfo metadata() const { return m_metadata; }
    /// Stores the record, takes its note types and lays the card out again.
    void setMetadata(const CaptureInfo &metadata);

    QStringList selectedNoteTypes() const { return m_selectedNoteTypes; }
    void setSelectedNoteTypes(const QStringList &types);

    /// The device line offered for reports (in "primaryLabelColor").
    AttributedText deviceLineText() const;
    /// The plain report body, ending with "Powered by Tessiov".
    QString reportSummary() const;
    /// The time the card was last laid out at.
    QDateTime layoutTime() const { return m_layoutTime; }

    /// Lays the card out again: tags, app name, icon and version, the
    /// device and the current time, the note and the note types.
    void refresh();

    // Outlets.
    QWidget *view() const { return m_view; }
    TagView *deviceTypeTag() const { return m_deviceTypeTag; }
    TagView *deviceOSVersionTag() const { return m_deviceOSVersionTag; }
    TagView *versionTag() const { return m_versionTag; }
    CollectionView *collectionView() const { return m_collectionView; }
    QLabel *appNameLabel() const { return m_appNameLabel; }
    QLabel *appIconImageView() const { return m_appIconImageView; }
    QLabel *appVersionLabel() const { return m_appVersionLabel; }
    QLabel *userInfoLabel() const { return m_userInfoLabel; }
    QLabel *noteLabel() const { return m_noteLabel; }

    /// The font of the note's regular part.
    static QFont noteFont();

    /// From this width on, the device line and the tags move to the right
    /// of the app's name instead of stacking under it.
    static constexpr int kWideWidth = 640;
    bool isWide() const { return m_wide; }

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void setTag(TagView *tag, const QString &text);
    void showAppIcon();
    void arrange(bool wide);
    void reloadNoteTypes();

    QPointer<TagView> m_deviceTypeTag;
    QPointer<TagView> m_deviceOSVersionTag;
    QPointer<TagView> m_versionTag;
    QPointer<CollectionView> m_collectionView;
    QPointer<QWidget> m_view;
    QPointer<QLabel> m_appNameLabel;
    QPointer<QLabel> m_appIconImageView;
    QPointer<QLabel> m_appVersionLabel;
    QPointer<QLabel> m_userInfoLabel;
    QPointer<QLabel> m_noteLabel;
    QPointer<QWidget> m_tagRow;
    QPointer<QBoxLayout> m_cardLayout;
    QPointer<QBoxLayout> m_trailingLayout;
    bool m_wide = false;
    CaptureInfo m_metadata;
    QStringList m_selectedNoteTypes;
    QDateTime m_layoutTime;
};

} // namespace tessivo
