// The view that shows a player's video: the player's frames arrive in a
// video sink and are painted here, aspect-fit on black, as an ordinary
// widget. It never becomes a native window, so anything stacked over it in
// the same window (panels, alerts, sheets) is drawn over the video.
#pragma once

#include "platform/VideoFrameConverter.h"
#include "tessivo_export.h"

#include <QImage>
#include <QPointer>
#include <QVideoFrame>
#include <QWidget>

class QMediaPlayer;
class QVideoSink;

namespace tessivo {

class TESSIVO_EXPORT PlayerView : public QWidget
{
    Q_OBJECT
public:
    explicit PlayerView(QWidget *parent = nullptr);
    ~PlayerView() override;

    /// The player whose video this view shows; its video output becomes
    /// this view's sink (a previous player is let go).
    QMediaPlayer *player() const { return m_player; }
    void setPlayer(QMediaPlayer *player);

    QVideoSink *videoSink() const { return m_sink; }

    /// The latest frame as an image (null before the first frame).
    QImage currentImage() const;
    /// Where that frame is drawn: the largest rectangle of its aspect
    /// ratio centred in the view (empty before the first frame).
    QRect videoRect() const;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void takeFrame(const QVideoFrame &frame);
    void clear();

    QPointer<QMediaPlayer> m_player;
    QVideoSink *m_sink = nullptr;
    QVideoFrame m_frame;       // the newest frame, converted when painted
    mutable VideoFrameConverter m_converter;
    mutable QImage m_image;    // the newest frame converted
    mutable bool m_converted = true;
};

} // namespace tessivo
