// The metadata card laid out at a video's size, for the clip that opens
// and closes a video report.
#pragma once

#include "core/CaptureInfo.h"
#include "metadata/MetadataView.h"
#include "tessivo_export.h"

#include <QImage>
#include <QPointer>
#include <QWidget>

namespace tessivo {

class TESSIVO_EXPORT VideoMetadataView : public QWidget
{
    Q_OBJECT
public:
    explicit VideoMetadataView(QWidget *parent = nullptr);

    CaptureInfo metadata() const { return m_metadata; }
    /// Stores the record and passes it on to the card.
    void setMetadata(const CaptureInfo &metadata);

    QWidget *view() const { return m_view; }
    MetadataView *metadataView() const { return m_metadataView; }

    /// Lays the view out at a video frame's size in pixels (its size in
    /// logical pixels is that divided by `scale`) and renders it into an
    /// image of exactly that pixel size. It is drawn in the state it is in:
    /// a view inside a disabled screen comes out disabled (grey), so the
    /// card for a movie is made without a parent.
    QImage renderFrame(QSize pixelSize, qreal scale = 1.0);

protected:
    void changeEvent(QEvent *event) override;

private:
    void updateCardColor();

    QPointer<QWidget> m_view;
    QPointer<MetadataView> m_metadataView;
    CaptureInfo m_metadata;
};

} // namespace tessivo
