#include "platform/PlayerView.h"

#include <QMediaPlayer>
#include <QPainter>
#include <QVideoSink>

namespace tessivo {

PlayerView::PlayerView(QWidget *parent) : QWidget(parent), m_sink(new QVideoSink(this))
{
    // Every pixel is painted (frame or letterbox), nothing shows through.
    setAttribute(Qt::WA_OpaquePaintEvent);
    // The sink may be fed from the player's own threads: the frame is only
    // kept here and converted when it is painted, so a slow paint skips
    // frames instead of queueing conversions.
    connect(m_sink, &QVideoSink::videoFrameChanged, this, &PlayerView::takeFrame);
}

PlayerView::~PlayerView()
{
    if (m_player && m_player->videoSink() == m_sink)
        m_player->setVideoSink(nullptr);
}

void PlayerView::setPlayer(QMediaPlayer *player)
{
    if (m_player == player)
        return;
    if (m_player) {
        disconnect(m_player, nullptr, this, nullptr);
        if (m_player->videoSink() == m_sink)
            m_player->setVideoSink(nullptr);
    }
    m_player = player;
    clear();
    if (player) {
        player->setVideoSink(m_sink);
        connect(player, &QMediaPlayer::sourceChanged, this, &PlayerView::clear);
    }
}

void PlayerView::takeFrame(const QVideoFrame &frame)
{
    // An empty frame (the player stopping or reaching the end) keeps the
    // last picture on screen.
    if (!frame.isValid())
        return;
    m_frame = frame;
    m_converted = false;
    update();
}

void PlayerView::clear()
{
    m_frame = QVideoFrame();
    m_image = QImage();
    m_converted = true;
    update();
}

QImage PlayerView::currentImage() const
{
    if (!m_converted) {
        m_image = m_converter.convert(m_frame);
        if (m_image.isNull() && m_frame.isValid()) // a layout only Qt can read
            m_image = m_frame.toImage();
        m_converted = true;
    }
    return m_image;
}

QRect PlayerView::videoRect() const
{
    const QImage image = currentImage();
    if (image.isNull() || image.width() <= 0 || image.height() <= 0)
        return {};
    const QSize fitted = image.size().scaled(size(), Qt::KeepAspectRatio);
    return QRect(QPoint((width() - fitted.width()) / 2, (height() - fitted.height()) / 2), fitted);
}

void PlayerView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    const QImage image = currentImage();
    if (image.isNull())
        return;
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(videoRect(), image);
}

} // namespace tessivo
