// The share sheet: real desktop activities for an image or a file.
#pragma once

#include "platform/AlertController.h"
#include "platform/ViewController.h"

#include <QImage>
#include <QList>
#include <QUrl>
#include <QVariant>

#include <functional>
#include <optional>

namespace tessivo {

enum class ActivityType {
    copyToPasteboard,
    saveToFile,
    saveToCameraRoll,
    openInDefaultApplication,
    mail,
};

/// "tessivo.activity.copyToPasteboard" and so on.
TESSIVO_EXPORT QString rawValue(ActivityType type);

class TESSIVO_EXPORT ActivityViewController : public ViewController
{
    Q_OBJECT
public:
    /// Items are QImage values or QUrl file URLs.
    using Completion = std::function<void(std::optional<ActivityType> activity, bool completed)>;

    explicit ActivityViewController(const QVariantList &activityItems, QWidget *parent = nullptr);
    ~ActivityViewController() override;

    QVariantList activityItems() const { return m_items; }
    /// The activities offered for these items, in order.
    QList<ActivityType> activities() const { return m_activities; }

    /// Runs when the sheet is gone: with the activity and whether it
    /// completed, or with nothing when the tester cancelled.
    void setCompletionWithItemsHandler(Completion completion) { m_completion = std::move(completion); }

    PopoverPresentation *popoverPresentationController() { return &m_popover; }

    /// Runs an activity as a tap on it would; cancel() as the Cancel button.
    void perform(ActivityType type);
    void cancel();

    /// Asks where to save a file (a file dialog by default). Returning an
    /// empty path cancels. Tests and unattended runs replace it.
    using SavePathProvider = std::function<QString(QWidget *parent, const QString &suggestedName)>;
    static void setSavePathProvider(SavePathProvider provider);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    bool escapePressed() override;

private:
    bool run(ActivityType type);
    QString writeTemporaryCopy() const;
    QString suggestedName() const;
    void finish(std::optional<ActivityType> activity, bool completed);
    void layoutCard();

    QVariantList m_items;
    QList<ActivityType> m_activities;
    Completion m_completion;
    PopoverPresentation m_popover;
    QWidget *m_card = nullptr;
    bool m_finished = false;
};

} // namespace tessivo
