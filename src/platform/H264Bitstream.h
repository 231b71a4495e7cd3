// The two ways H.264 travels: Annex B byte streams (start codes, what the
// encoder emits) and length-prefixed NAL units with an avcC configuration
// (what movie files store). Internal to the platform layer.
#pragma once

#include <QByteArray>
#include <QList>

namespace tessivo::H264Bitstream {

/// The sequence and picture parameter sets in a codec configuration, in
/// either form, in their order.
QList<QByteArray> parameterSets(const QByteArray &configuration);
/// Bytes per NAL length in an avcC configuration; 0 for Annex B.
int nalLengthSize(const QByteArray &configuration);
/// The NAL units of an Annex B packet, each behind a big-endian length of
/// `lengthSize` bytes. Parameter sets are left out (the configuration
/// carries them).
QByteArray toLengthPrefixed(const QByteArray &annexB, int lengthSize);

} // namespace tessivo::H264Bitstream
