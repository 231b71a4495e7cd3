// Reads movies back with the ffprobe and ffmpeg tools, independently of the
// kit's own media code.
#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace tessivo::test {

struct MovieInfo {
    bool valid = false;
    QString formatName;
    QString codecName;
    int width = 0;
    int height = 0;
    int frameCount = 0;   // frames actually decoded
    double duration = 0;  // seconds, as the container reports it
    QList<double> keyframeTimes; // packet times of keyframes
};

MovieInfo probeMovie(const QString &path);
/// Frame `index` of the movie as an RGB image (null on failure).
QImage movieFrame(const QString &path, int index, int width, int height);
/// Every frame of the movie as it is decoded, as RGB images.
QList<QImage> decodedFrames(const QString &path, int width, int height);
/// Everything `ffmpeg -v error -i MOVIE -f null -` prints while decoding
/// the whole movie: nothing for a sound one.
QString decodingMessages(const QString &path);
/// The presentation times (seconds) of the frames as they are decoded.
QList<double> decodedFrameTimes(const QString &path);
/// The luma planes of every decoded frame, as stored (width × height bytes,
/// limited range), in decoding order.
QList<QByteArray> decodedLumaPlanes(const QString &path, int width, int height);
/// Every decoded frame averaged down to `columns` × 1 grey pixels.
QList<QByteArray> decodedFrameColumns(const QString &path, int columns);

} // namespace tessivo::test
