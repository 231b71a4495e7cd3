// multipart/form-data, strictly: a boundary from the Content-Type header
// (the kit writes "boundary =" with a space; it is accepted), parts with a
// Content-Disposition naming them, a closing delimiter. Anything else is an
// error with a message fit for a JSON answer.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace relay {

struct MultipartPart {
    QString name;
    std::optional<QString> fileName;
    QByteArray contentType;
    QByteArray data;
};

class MultipartParser
{
public:
    static constexpr int kMaxParts = 32;
    static constexpr int kMaxPartHeaderBytes = 8 * 1024;

    /// The boundary of a multipart/form-data Content-Type value, or nothing.
    static std::optional<QByteArray> boundary(const QByteArray &contentType);
    /// Parses `body`; nothing with `error` set when it is not well formed.
    static std::optional<QList<MultipartPart>> parse(const QByteArray &body, const QByteArray &boundary,
                                                     QString *error);
    /// Splits a header value such as `form-data; name="a"; filename="b"`
    /// into its parameters (names in lower case); false when malformed.
    static bool parameters(const QByteArray &value, QByteArray *first,
                           QList<QPair<QByteArray, QByteArray>> *params);
};

} // namespace relay
