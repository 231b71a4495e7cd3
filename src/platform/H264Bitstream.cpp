#include "platform/H264Bitstream.h"

namespace tessivo::H264Bitstream {
namespace {

/// NAL units between start codes (00 00 01 or 00 00 00 01).
QList<QByteArray> splitAnnexB(const QByteArray &data)
{
    QList<QByteArray> units;
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData());
    const qsizetype size = data.size();
    qsizetype start = -1;
    qsizetype i = 0;
    while (i + 2 < size) {
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1) {
            if (start >= 0) {
                qsizetype end = i;
                while (end > start && bytes[end - 1] == 0)
                    --end; // the zero of a four-byte start code
                units.append(data.mid(start, end - start));
            }
            i += 3;
            start = i;
        } else {
            ++i;
        }
    }
    if (start >= 0 && start < size)
        units.append(data.mid(start));
    return units;
}

bool isParameterSet(const QByteArray &unit)
{
    const int type = unit.isEmpty() ? 0 : uchar(unit[0]) & 0x1f;
    return type == 7 || type == 8;
}

} // namespace

int nalLengthSize(const QByteArray &configuration)
{
    if (configuration.size() < 5 || uchar(configuration[0]) != 1)
        return 0;
    return (uchar(configuration[4]) & 0x03) + 1;
}

QList<QByteArray> parameterSets(const QByteArray &configuration)
{
    if (nalLengthSize(configuration) == 0) {
        QList<QByteArray> sets;
        for (const QByteArray &unit : splitAnnexB(configuration)) {
            if (isParameterSet(unit))
                sets.append(unit);
        }
        return sets;
    }
    // avcC: header, SPS count and SPSs, PPS count and PPSs.
    QList<QByteArray> sets;
    const auto *bytes = reinterpret_cast<const uchar *>(configuration.constData());
    qsizetype pos = 5;
    for (int group = 0; group < 2 && pos < configuration.size(); ++group) {
        const int count = group == 0 ? bytes[pos] & 0x1f : bytes[pos];
        ++pos;
        for (int k = 0; k < count && pos + 2 <= configuration.size(); ++k) {
            const int length = (bytes[pos] << 8) | bytes[pos + 1];
            pos += 2;
            if (pos + length > configuration.size())
                return {};
            sets.append(configuration.mid(pos, length));
            pos += length;
        }
    }
    return sets;
}

QByteArray toLengthPrefixed(const QByteArray &annexB, int lengthSize)
{
    QByteArray out;
    out.reserve(annexB.size() + 16);
    for (const QByteArray &unit : splitAnnexB(annexB)) {
        if (unit.isEmpty() || isParameterSet(unit))
            continue;
        const quint32 length = static_cast<quint32>(unit.size());
        for (int shift = (lengthSize - 1) * 8; shift >= 0; shift -= 8)
            out.append(static_cast<char>((length >> shift) & 0xff));
        out.append(unit);
    }
    return out;
}

} // namespace tessivo::H264Bitstream
