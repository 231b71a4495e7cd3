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

} // namespace tessivo::test
