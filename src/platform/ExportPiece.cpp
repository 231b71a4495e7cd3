#include "platform/ExportPiece.h"

#include <QFile>

namespace tessivo {

AVStream *ExportPiece::openStream(InputFormatHandle &input,
                                  const std::function<void(int, const QString &)> &fail) const
{
    const QUrl &url = track.assetURL;
    int ret = 0;
    input = openMovieInput(QFile::encodeName(url.toLocalFile()), &ret);
    if (!input) {
        fail(ret, QStringLiteral("Cannot read %1: %2").arg(url.fileName(), averrorText(ret)));
        return nullptr;
    }
    if (track.trackID < 0 || track.trackID >= static_cast<int>(input->nb_streams)) {
        fail(AVERROR(EINVAL), QStringLiteral("%1 changed while it was read").arg(url.fileName()));
        return nullptr;
    }
    return input->streams[track.trackID];
}

qint64 ExportPiece::ticks(MediaTime time, AVRational timeBase)
{
    return av_rescale_q_rnd(time.value, {1, time.timescale}, timeBase,
                            static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}

} // namespace tessivo
