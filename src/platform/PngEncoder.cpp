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

bool isOpaque(const QImage &image)
{
    const QImage::Format format = image.format();
    if (format != QImage::Format_ARGB32 && format != QImage::Format_ARGB32_Premultiplied)
        return !image.hasAlphaChannel();
    for (int y = 0; y < image.height(); ++y) {
        const auto *row = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        QRgb all = 0xff000000u;
        for (int x = 0; x < image.width(); ++x)
            all &= row[x];
        if ((all & 0xff000000u) != 0xff000000u)
            return false;
    }
    return true;
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

/// Converts and filters rows [first, last) with "up", a few rows at a
/// time so that the work stays in cache, and deflates them as raw deflate
/// data that ends on a byte boundary (or, for the last band, finishes the
/// stream).
Band deflateBand(const QImage &image, bool alpha, int first, int last, bool isLast)
{
    constexpr int kRowsPerChunk = 16;
    Band band;
    const int width = image.width();
    const int bytesPerRow = width * (alpha ? 4 : 3);
    const bool premultiplied = image.format() == QImage::Format_ARGB32_Premultiplied;
    std::vector<unsigned char> chunk(static_cast<size_t>(kRowsPerChunk) * (bytesPerRow + 1));
    std::vector<unsigned char> above(static_cast<size_t>(bytesPerRow), 0);
    std::vector<unsigned char> row(static_cast<size_t>(bytesPerRow));
    if (first > 0)
        convertRow(reinterpret_cast<const QRgb *>(image.constScanLine(first - 1)), width, alpha, premultiplied,
                   above.data());

    z_stream stream{};
    if (deflateInit2(&stream, 1, Z_DEFLATED, -15, 8, Z_RLE) != Z_OK)
        return {};
    band.deflated.resize(std::max<qsizetype>(qsizetype(last - first) * bytesPerRow / 4, 4096));
    qsizetype written = 0;
    bool failed = false;
    auto pump = [&](int flush) {
        do {
            if (written == band.deflated.size())
                band.deflated.resize(band.deflated.size() * 2);
            stream.next_out = reinterpret_cast<Bytef *>(band.deflated.data() + written);
            stream.avail_out = static_cast<uInt>(band.deflated.size() - written);
            const int result = deflate(&stream, flush);
            written = band.deflated.size() - stream.avail_out;
            if (result == Z_STREAM_ERROR)
                failed = true;
            if (result == Z_STREAM_END)
                return;
        } while (!failed && (stream.avail_out == 0 || (flush == Z_FINISH)));
    };
    for (int y = first; y < last && !failed;) {
        const int rows = std::min(kRowsPerChunk, last - y);
        unsigned char *out = chunk.data();
        for (int r = 0; r < rows; ++r, ++y) {
            convertRow(reinterpret_cast<const QRgb *>(image.constScanLine(y)), width, alpha, premultiplied,
                       row.data());
            *out++ = 2; // up
            for (int i = 0; i < bytesPerRow; ++i)
                out[i] = static_cast<unsigned char>(row[i] - above[i]);
            out += bytesPerRow;
            row.swap(above);
        }
        const uInt size = static_cast<uInt>(out - chunk.data());
        band.adler = adler32(band.adler, chunk.data(), size);
        band.length += size;
        stream.next_in = chunk.data();
        stream.avail_in = size;
        pump(Z_NO_FLUSH);
    }
    if (!failed)
        pump(isLast ? Z_FINISH : Z_SYNC_FLUSH);
    deflateEnd(&stream);
    band.deflated.resize(failed ? 0 : written);
    return band;
}

} // namespace

QByteArray PngEncoder::encode(const QImage &source, int threads)
{
    if (source.isNull())
        return {};
    // A constant alpha of 255 is left out: three bytes a pixel to deflate
    // instead of four, and the same picture.
    const bool alpha = source.hasAlphaChannel() && !isOpaque(source);
    const QImage::Format format = source.format();
    const QImage image = format == QImage::Format_ARGB32_Premultiplied || format == QImage::Format_ARGB32
            || format == QImage::Format_RGB32
        ? source
        : source.convertToFormat(alpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    const int width = image.width();
    const int height = image.height();

    const int workers = std::clamp(threads > 0 ? threads : QThread::idealThreadCount(), 1, kMaximumBands);
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
