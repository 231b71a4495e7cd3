#include "MovieProbe.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

namespace tessivo::test {
namespace {

QByteArray run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0)
        return {};
    return process.readAllStandardOutput();
}

} // namespace

MovieInfo probeMovie(const QString &path)
{
    MovieInfo info;
    const QJsonObject root =
        QJsonDocument::fromJson(
            run(QStringLiteral("ffprobe"),
                {"-v", "error", "-select_streams", "v:0", "-count_frames", "-show_entries",
                 "stream=codec_name,width,height,nb_read_frames:format=duration,format_name:"
                 "packet=pts_time,flags",
                 "-of", "json", path}))
            .object();
    const QJsonArray streams = root.value("streams").toArray();
    if (streams.isEmpty())
        return info;
    const QJsonObject stream = streams.first().toObject();
    const QJsonObject format = root.value("format").toObject();
    info.valid = true;
    info.formatName = format.value("format_name").toString();
    info.duration = format.value("duration").toString().toDouble();
    info.codecName = stream.value("codec_name").toString();
    info.width = stream.value("width").toInt();
    info.height = stream.value("height").toInt();
    info.frameCount = stream.value("nb_read_frames").toString().toInt();
    for (const QJsonValue &packet : root.value("packets").toArray()) {
        const QJsonObject p = packet.toObject();
        if (p.value("flags").toString().startsWith(QLatin1Char('K')))
            info.keyframeTimes.append(p.value("pts_time").toString().toDouble());
    }
    return info;
}

QImage movieFrame(const QString &path, int index, int width, int height)
{
    const QByteArray raw = run(
        QStringLiteral("ffmpeg"),
        {"-v", "error", "-i", path, "-vf", QStringLiteral("select=eq(n\\,%1)").arg(index),
         "-vframes", "1", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
    if (raw.size() != width * height * 3)
        return {};
    QImage image(reinterpret_cast<const uchar *>(raw.constData()), width, height, width * 3,
                 QImage::Format_RGB888);
    return image.copy();
}

QList<QImage> decodedFrames(const QString &path, int width, int height)
{
    const QByteArray raw = run(QStringLiteral("ffmpeg"),
                               {"-nostdin", "-v", "error", "-i", path, "-fps_mode", "passthrough", "-f",
                                "rawvideo", "-pix_fmt", "rgb24", "-"});
    QList<QImage> frames;
    const qsizetype size = qsizetype(width) * height * 3;
    for (qsizetype at = 0; size > 0 && at + size <= raw.size(); at += size)
        frames.append(QImage(reinterpret_cast<const uchar *>(raw.constData() + at), width, height, width * 3,
                             QImage::Format_RGB888)
                          .copy());
    return frames;
}

QString decodingMessages(const QString &path)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("ffmpeg"), {"-nostdin", "-v", "error", "-i", path, "-f", "null", "-"});
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return QStringLiteral("ffmpeg did not finish");
    const QString output = QString::fromUtf8(process.readAll()).trimmed();
    return output.isEmpty() && process.exitCode() != 0 ? QStringLiteral("ffmpeg failed") : output;
}

QList<double> decodedFrameTimes(const QString &path)
{
    QList<double> times;
    const QByteArray out = run(QStringLiteral("ffprobe"),
                               {"-v", "error", "-select_streams", "v:0", "-show_entries",
                                "frame=best_effort_timestamp_time", "-of", "csv=p=0", path});
    for (const QByteArray &line : out.split('\n')) {
        // A frame's line may end in a separator and be followed by an empty
        // one for its side data.
        const QByteArray field = line.split(',').first().trimmed();
        if (!field.isEmpty())
            times.append(field.toDouble());
    }
    return times;
}

QList<QByteArray> decodedLumaPlanes(const QString &path, int width, int height)
{
    const QByteArray raw = run(QStringLiteral("ffmpeg"),
                               {"-nostdin", "-v", "error", "-i", path, "-fps_mode", "passthrough", "-f",
                                "rawvideo", "-pix_fmt", "yuv420p", "-"});
    const qsizetype luma = qsizetype(width) * height;
    const qsizetype frame = luma * 3 / 2;
    QList<QByteArray> planes;
    for (qsizetype at = 0; at + frame <= raw.size(); at += frame)
        planes.append(raw.mid(at, luma));
    return planes;
}

QList<QByteArray> decodedFrameColumns(const QString &path, int columns)
{
    const QByteArray raw = run(QStringLiteral("ffmpeg"),
                               {"-nostdin", "-v", "error", "-i", path, "-vf",
                                QStringLiteral("scale=%1:1:flags=area").arg(columns), "-fps_mode",
                                "passthrough", "-f", "rawvideo", "-pix_fmt", "gray", "-"});
    QList<QByteArray> frames;
    for (qsizetype at = 0; at + columns <= raw.size(); at += columns)
        frames.append(raw.mid(at, columns));
    return frames;
}

} // namespace tessivo::test
