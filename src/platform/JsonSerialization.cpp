#include "platform/JsonSerialization.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>

namespace tessivo {
namespace {

void appendString(QByteArray &out, const QString &text)
{
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    for (char ch : utf8) {
        const auto c = static_cast<unsigned char>(ch);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '/': out += "\\/"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
            } else {
                out += ch;
            }
        }
    }
    out += '"';
}

} // namespace

QByteArray jsonObjectData(const QList<QPair<QString, QString>> &members)
{
    QByteArray out = "{";
    bool first = true;
    for (const auto &[name, value] : members) {
        if (!first)
            out += ',';
        first = false;
        appendString(out, name);
        out += ':';
        appendString(out, value);
    }
    out += '}';
    return out;
}

std::optional<QJsonValue> jsonObject(const QByteArray &data)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || doc.isNull())
        return std::nullopt;
    if (doc.isObject())
        return QJsonValue(doc.object());
    return QJsonValue(doc.array());
}

std::optional<QString> stringFromUtf8(const QByteArray &data)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(data);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace tessivo
