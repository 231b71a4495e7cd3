#include "MultipartParser.h"

#include <QStringDecoder>

namespace relay {
namespace {

std::optional<QString> utf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

bool isTokenChar(char c)
{
    return c > 0x20 && c < 0x7f && !QByteArrayView("()<>@,;:\\\"/[]?={}").contains(c);
}

} // namespace

bool MultipartParser::parameters(const QByteArray &value, QByteArray *first,
                                 QList<QPair<QByteArray, QByteArray>> *params)
{
    qsizetype i = 0;
    const qsizetype n = value.size();
    auto skipSpace = [&] {
        while (i < n && (value[i] == ' ' || value[i] == '\t'))
            ++i;
    };
    skipSpace();
    const qsizetype start = i;
    while (i < n && value[i] != ';')
        ++i;
    *first = value.mid(start, i - start).trimmed().toLower();
    while (i < n) {
        if (value[i] != ';')
            return false;
        ++i;
        skipSpace();
        if (i >= n)
            break; // a trailing ';'
        const qsizetype nameStart = i;
        while (i < n && isTokenChar(value[i]))
            ++i;
        const QByteArray name = value.mid(nameStart, i - nameStart).toLower();
        if (name.isEmpty())
            return false;
        skipSpace(); // "boundary =" as the kit writes it
        if (i >= n || value[i] != '=')
            return false;
        ++i;
        skipSpace();
        QByteArray v;
        if (i < n && value[i] == '"') {
            ++i;
            bool closed = false;
            while (i < n) {
                const char c = value[i++];
                if (c == '\\' && i < n) {
                    v += value[i++];
                } else if (c == '"') {
                    closed = true;
                    break;
                } else {
                    v += c;
                }
            }
            if (!closed)
                return false;
        } else {
            const qsizetype vs = i;
            while (i < n && value[i] != ';' && value[i] != ' ' && value[i] != '\t')
                ++i;
            v = value.mid(vs, i - vs);
        }
        skipSpace();
        params->append({name, v});
    }
    return true;
}

std::optional<QByteArray> MultipartParser::boundary(const QByteArray &contentType)
{
    QByteArray type;
    QList<QPair<QByteArray, QByteArray>> params;
    if (!parameters(contentType, &type, &params) || type != "multipart/form-data")
        return std::nullopt;
    for (const auto &[name, value] : params) {
        if (name == "boundary") {
            // RFC 2046: 1 to 70 characters.
            if (value.isEmpty() || value.size() > 70)
                return std::nullopt;
            return value;
        }
    }
    return std::nullopt;
}

std::optional<QList<MultipartPart>> MultipartParser::parse(const QByteArray &body, const QByteArray &boundary,
                                                           QString *error)
{
    const QByteArray delimiter = "--" + boundary;
    const QByteArray inner = "\r\n" + delimiter;
    qsizetype pos;
    if (body.startsWith(delimiter)) {
        pos = delimiter.size();
    } else {
        const qsizetype first = body.indexOf(inner);
        if (first < 0) {
            *error = QStringLiteral("the body does not hold the boundary");
            return std::nullopt;
        }
        pos = first + inner.size(); // a preamble (such as an empty line) is ignored
    }

    QList<MultipartPart> parts;
    while (true) {
        // After a delimiter: "--" closes, else optional padding and CRLF.
        if (body.mid(pos, 2) == "--")
            return parts;
        while (pos < body.size() && (body[pos] == ' ' || body[pos] == '\t'))
            ++pos;
        if (body.mid(pos, 2) != "\r\n") {
            *error = QStringLiteral("a boundary line is malformed or the body is truncated");
            return std::nullopt;
        }
        pos += 2;
        const qsizetype next = body.indexOf(inner, pos);
        if (next < 0) {
            *error = QStringLiteral("the body is truncated (no closing boundary)");
            return std::nullopt;
        }
        if (parts.size() >= kMaxParts) {
            *error = QStringLiteral("too many parts");
            return std::nullopt;
        }
        const QByteArray content = body.mid(pos, next - pos);
        pos = next + inner.size();

        qsizetype headerEnd;
        qsizetype dataStart;
        if (content.startsWith("\r\n")) {
            headerEnd = 0;
            dataStart = 2;
        } else {
            headerEnd = content.indexOf("\r\n\r\n");
            if (headerEnd < 0) {
                *error = QStringLiteral("a part has no end of headers");
                return std::nullopt;
            }
            dataStart = headerEnd + 4;
        }
        if (headerEnd > kMaxPartHeaderBytes) {
            *error = QStringLiteral("a part's headers are too large");
            return std::nullopt;
        }
        MultipartPart part;
        bool named = false;
        const QList<QByteArray> lines = content.left(headerEnd).split('\n');
        for (QByteArray line : lines) {
            if (line.endsWith('\r'))
                line.chop(1);
            if (line.isEmpty())
                continue;
            const qsizetype colon = line.indexOf(':');
            if (colon <= 0) {
                *error = QStringLiteral("a part header is malformed");
                return std::nullopt;
            }
            const QByteArray name = line.left(colon).trimmed().toLower();
            const QByteArray value = line.mid(colon + 1).trimmed();
            if (name == "content-disposition") {
                QByteArray kind;
                QList<QPair<QByteArray, QByteArray>> params;
                if (!parameters(value, &kind, &params) || kind != "form-data") {
                    *error = QStringLiteral("a part's Content-Disposition is not form-data");
                    return std::nullopt;
                }
                for (const auto &[pn, pv] : params) {
                    const auto text = utf8(pv);
                    if (!text) {
                        *error = QStringLiteral("a part's name or file name is not UTF-8");
                        return std::nullopt;
                    }
                    if (pn == "name") {
                        part.name = *text;
                        named = true;
                    } else if (pn == "filename") {
                        part.fileName = *text;
                    }
                }
            } else if (name == "content-type") {
                part.contentType = value;
            }
        }
        if (!named || part.name.isEmpty()) {
            *error = QStringLiteral("a part has no name");
            return std::nullopt;
        }
        part.data = content.mid(dataStart);
        parts.append(part);
    }
}

} // namespace relay
