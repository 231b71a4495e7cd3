#include "platform/PngEncoder.h"

#include <QFile>
#include <QSaveFile>
#include <QThread>
#include <QtEndian>

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <vector>

namespace tessivo {
namespace {

constexpr int kMinimumRowsPerBand = 128;
constexpr int kMaximumBands = 4;

struct Band {
    QByteArray deflated;
    uLong adler = 1;
    uLong length = 0;
};

void appendChunk(QByteArray &out, const char type[4], const QByteArray &data)
{
    char length[4];
    qToBigEndian<quint32>(static_cast<quint32>(data.size()), length);
    out.append(length, 4);
    const qsizetype typeAt = out.size();
    out.append(type, 4);
    out.append(data);
    uLong crc = crc32(0, reinterpret_cast<const Bytef *>(out.constData() + typeAt),
                      static_cast<uInt>(4 + data.size()));
    char crcBytes[4];
    qToBigEndian<quint32>(static_cast<quint32>(crc), crcBytes);
    out.append(crcBytes, 4);
}

/// One row of 32-bit pixels as PNG bytes: RGBA (straight alpha) or RGB.
void convertRow(const QRgb *in, int width, bool alpha, bool premultiplied, unsigned char *out)
{
    for (int x = 0; x < width; ++x) {
        QRgb p = in[x];
        const int a = qAlpha(p);
        if (alpha && premultiplied && a != 255)
            p = qUnpremultiply(p);
        *out++ = static_cast<unsigned char>(qRed(p));
        *out++ = static_cast<unsigned char>(qGreen(p));
        *out++ = static_cast<unsigned char>(qBlue(p));
        if (alpha)
            *out++ = static_cast<unsigned char>(a);
    }
}

/// Converts and filters rows [first, last) with "up", then deflates them
/// as raw deflate data that ends on a byte boundary (or, for the last
/// band, finishes the stream).
Band deflateBand(const QImage &image, bool alpha, int first, int last, bool isLast)
{
    Band band;
    const int width = image.width();
    const int bytesPerRow = width * (alpha ? 4 : 3);
    const bool premultiplied = image.format() == QImage::Format_ARGB32_Premultiplied;
    std::vector<unsigned char> filtered(static_cast<size_t>(last - first) * (bytesPerRow + 1));
    std::vector<unsigned char> above(static_cast<size_t>(bytesPerRow), 0);
    std::vector<unsigned char> row(static_cast<size_t>(bytesPerRow));
    if (first > 0)
        convertRow(reinterpret_cast<const QRgb *>(image.constScanLine(first - 1)), width, alpha, premultiplied, above.data());
    unsigned char *out = filtered.data();
    for (int y = first; y < last; ++y) {
        convertRow(reinterpret_cast<const QRgb *>(image.constScanLine(y)), width, alpha, premultiplied, row.data());
        *out++ = 2; // up
        for (int i = 0; i < bytesPerRow; ++i)
            out[i] = static_cast<unsigned char>(row[i] - above[i]);
        out += bytesPerRow;
        row.swap(above);
    }
    band.length = static_cast<uLong>(filtered.size());
    band.adler = adler32(1, filtered.data(), static_cast<uInt>(filtered.size()));

    z_stream stream{};
    if (deflateInit2(&stream, 1, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    band.deflated.resize(static_cast<qsizetype>(deflateBound(&stream, band.length)) + 16);
    stream.next_in = filtered.data();
    stream.avail_in = static_cast<uInt>(filtered.size());
    stream.next_out = reinterpret_cast<Bytef *>(band.deflated.data());
    stream.avail_out = static_cast<uInt>(band.deflated.size());
    const int result = deflate(&stream, isLast ? Z_FINISH : Z_SYNC_FLUSH);
    const bool ok = isLast ? result == Z_STREAM_END : result == Z_OK;
    band.deflated.resize(ok ? static_cast<qsizetype>(stream.total_out) : 0);
    deflateEnd(&stream);
    return band;
}

} // namespace

QByteArray PngEncoder::encode(const QImage &source)
{
    if (source.isNull())
        return {};
    const bool alpha = source.hasAlphaChannel();
    const QImage::Format format = source.format();
    const QImage image = format == QImage::Format_ARGB32_Premultiplied || format == QImage::Format_ARGB32
            || format == QImage::Format_RGB32
        ? source
        : source.convertToFormat(alpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    const int width = image.width();
    const int height = image.height();

    const int workers = std::clamp(QThread::idealThreadCount(), 1, kMaximumBands);
    const int bands = std::clamp(height / kMinimumRowsPerBand, 1, workers);
    std::vector<std::future<Band>> pending;
    std::vector<Band> done(static_cast<size_t>(bands));
    auto firstRow = [height, bands](int band) { return static_cast<int>(qint64(height) * band / bands); };
    for (int b = 1; b < bands; ++b) {
        pending.push_back(std::async(std::launch::async, deflateBand, std::cref(image), alpha, firstRow(b),
                                     firstRow(b + 1), b == bands - 1));
    }
    done[0] = deflateBand(image, alpha, 0, firstRow(1), bands == 1);
    for (int b = 1; b < bands; ++b)
        done[static_cast<size_t>(b)] = pending[static_cast<size_t>(b - 1)].get();

    QByteArray data;
    data.append("\x78\x01", 2); // zlib header: deflate, 32K window, fastest
    uLong adler = 1;
    for (const Band &band : done) {
        if (band.deflated.isEmpty())
            return {};
        data.append(band.deflated);
        adler = adler32_combine(adler, band.adler, static_cast<z_off_t>(band.length));
    }
    char adlerBytes[4];
    qToBigEndian<quint32>(static_cast<quint32>(adler), adlerBytes);
    data.append(adlerBytes, 4);

    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    QByteArray header(13, '\0');
    qToBigEndian<quint32>(static_cast<quint32>(width), header.data());
    qToBigEndian<quint32>(static_cast<quint32>(height), header.data() + 4);
    header[8] = 8;                     // bits per channel
    header[9] = alpha ? 6 : 2;         // RGBA or RGB
    appendChunk(png, "IHDR", header);  // deflate, adaptive filters, no interlace
    appendChunk(png, "IDAT", data);
    appendChunk(png, "IEND", QByteArray());
    return png;
}

bool PngEncoder::write(const QImage &image, const QString &path)
{
    const QByteArray png = encode(image);
    if (png.isEmpty())
        return false;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(png) == png.size() && file.commit();
}

} // namespace tessivo
