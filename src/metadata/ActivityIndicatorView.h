// The rounded, shadowed card with a spinner shown while a report is being
// sent. The spinner is grey in light appearance and white otherwise.
#pragma once

#include "metadata/ActivityIndicator.h"
#include "tessivo_export.h"

#include <QPointer>
#include <QWidget>

namespace tessivo {



class TESSIVO_EXPORT ActivityIndicatorView : public QWidget
{
    Q_OBJECT
public:
    explicit ActivityIndicatorView(QWidget *parent = nullptr);

    /// The card (carries the corner radius and the shadow).
    QWidget *view() const { return m_view; }
    ActivityIndicator *activityIndicator() const { return m_activityIndicator; }

    /// A 100 x 100 card with room around it for the shadow.
    QSize sizeHint() const override;

protected:
    void changeEvent(QEvent *event) override;

private:
    void traitCollectionDidChange();

    QPointer<QWidget> m_view;
    QPointer<ActivityIndicator> m_activityIndicator;
};

} // namespace tessivo
