#include "Gallery.h"

#include "core/CaptureInfo.h"
#include "metadata/ActivityIndicatorView.h"
#include "metadata/MetadataView.h"
#include "metadata/NoteTextView.h"
#include "metadata/SharingMethodView.h"
#include "metadata/TagView.h"
#include "metadata/VideoMetadataView.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace tessivo::gallery {
namespace {

// A host app with a name, a version, a build and an icon, for as long as
// the views read it.
class SampleHost
{
public:
    SampleHost()
    {
        set("CFBundleDisplayName", QStringLiteral("Harbor Notes"));
        set("CFBundleShortVersionString", QStringLiteral("2.4"));
        set("CFBundleVersion", QStringLiteral("118"));
        set("CFBundleIcons",
            QVariantMap{{QStringLiteral("CFBundlePrimaryIcon"),
                         QVariantMap{{QStringLiteral("CFBundleIconFiles"),
                                      QVariantList{QStringLiteral("HostAppIcon")}}}}});
    }
    ~SampleHost()
    {
        for (const QByteArray &key : std::as_const(m_keys))
            qApp->setProperty(key.constData(), QVariant());
    }

private:
    void set(const char *key, const QVariant &value)
    {
        qApp->setProperty(key, value);
        m_keys.append(key);
    }
    QList<QByteArray> m_keys;
};

CaptureInfo sampleReport()
{
    CaptureInfo info;
    info.author = QStringLiteral("Ann Whitfield");
    info.note = QStringLiteral("The checkout button stays disabled after I enter a valid coupon. "
                               "Going back to the cart and returning enables it again.");
    info.selectedNoteTypes = {QStringLiteral("Bug"), QStringLiteral("Other")};
    return info;
}

QWidget *window(QSize size)
{
    auto *w = new QWidget;
    w->resize(size);
    w->setAutoFillBackground(true);
    return w;
}

QWidget *cardWindow(QSize size)
{
    SampleHost host;
    QWidget *w = window(size);
    auto *layout = new QVBoxLayout(w);
    layout->setContentsMargins(0, 0, 0, 0);
    auto *card = new MetadataView(w);
    card->setMetadata(sampleReport());
    layout->addWidget(card);
    layout->addStretch();
    return w;
}

const bool tags = add({QStringLiteral("TagView-styles"), QSize(390, 150), [](Appearance) {
                           QWidget *w = window(QSize(390, 150));
                           auto *rows = new QVBoxLayout(w);
                           rows->setContentsMargins(16, 16, 16, 16);
                           rows->setSpacing(14);
                           const std::pair<TagViewStyle, QStringList> samples[] = {
                               {TagViewStyle::fill, {"Feedback", "Suggestion"}},
                               {TagViewStyle::outline, {"x86_64", "Debian 12", "2.4(118)"}},
                               {TagViewStyle::selected, {"Bug", "Other"}},
                           };
                           for (const auto &[style, texts] : samples) {
                               auto *row = new QHBoxLayout;
                               row->setSpacing(8);
                               for (const QString &text : texts) {
                                   auto *tag = new TagView(w);
                                   tag->configure(style, text);
                                   tag->setFixedSize(TagView::widthFor(text), 22);
                                   row->addWidget(tag);
                               }
                               row->addStretch();
                               rows->addLayout(row);
                           }
                           rows->addStretch();
                           return w;
                       }});

const bool sharing = add({QStringLiteral("SharingMethodView"), QSize(390, 160), [](Appearance) {
                              QWidget *w = window(QSize(390, 160));
                              auto *layout = new QVBoxLayout(w);
                              layout->setContentsMargins(0, 0, 0, 0);
                              layout->addWidget(new SharingMethodView(w));
                              return w;
                          }});

const bool activity = add({QStringLiteral("ActivityIndicatorView"), QSize(390, 400),
                           [](Appearance appearance) {
                               QWidget *w = hostWindow(QSize(390, 400), appearance);
                               auto *overlay = new ActivityIndicatorView(w);
                               const QSize size = overlay->sizeHint();
                               overlay->setGeometry(QRect(QPoint((390 - size.width()) / 2, 130), size));
                               overlay->activityIndicator()->startAnimating();
                               overlay->raise();
                               return w;
                           }});

const bool cardPhone = add({QStringLiteral("MetadataView-phone"), QSize(390, 236),
                            [](Appearance) { return cardWindow(QSize(390, 236)); }});

const bool cardDesktop = add({QStringLiteral("MetadataView-desktop"), QSize(1280, 130),
                              [](Appearance) { return cardWindow(QSize(1280, 130)); }});

const bool cardAnonymous = add({QStringLiteral("MetadataView-noteOnly"), QSize(390, 160), [](Appearance) {
                                    SampleHost host;
                                    QWidget *w = window(QSize(390, 160));
                                    auto *layout = new QVBoxLayout(w);
                                    layout->setContentsMargins(0, 0, 0, 0);
                                    auto *card = new MetadataView(w);
                                    CaptureInfo info;
                                    info.note = QStringLiteral("Tiles flicker when scrolling the map quickly.");
                                    card->setMetadata(info);
                                    layout->addWidget(card);
                                    layout->addStretch();
                                    return w;
                                }});

const bool video = add({QStringLiteral("VideoMetadataView"), QSize(390, 844), [](Appearance) {
                            SampleHost host;
                            auto *view = new VideoMetadataView;
                            view->setMetadata(sampleReport());
                            return static_cast<QWidget *>(view);
                        }});

const bool note = add({QStringLiteral("NoteTextView"), QSize(390, 330), [](Appearance) {
                           SampleHost host;
                           auto *view = new NoteTextView;
                           CaptureInfo info = sampleReport();
                           info.note = QStringLiteral("Coupon field accepts the code but the total does not change.");
                           view->setMetadata(info);
                           view->fillFields();
                           return static_cast<QWidget *>(view);
                       }});

const bool notePlaceholders = add({QStringLiteral("NoteTextView-placeholders"), QSize(390, 330), [](Appearance) {
                                       SampleHost host;
                                       auto *view = new NoteTextView;
                                       CaptureInfo info;
                                       info.selectedNoteTypes = {QStringLiteral("Feedback")};
                                       view->setMetadata(info);
                                       view->fillFields();
                                       return static_cast<QWidget *>(view);
                                   }});

} // namespace
} // namespace tessivo::gallery
