// Input: a Content-Type header value, a line feed, then the body.
#include "MultipartParser.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    const qsizetype split = input.indexOf('\n');
    const QByteArray contentType = split < 0 ? input : input.left(split);
    const QByteArray body = split < 0 ? QByteArray() : input.mid(split + 1);
    const auto boundary = relay::MultipartParser::boundary(contentType);
    if (!boundary)
        return 0;
    QString error;
    const auto parts = relay::MultipartParser::parse(body, *boundary, &error);
    if (parts) {
        if (parts->size() > relay::MultipartParser::kMaxParts)
            __builtin_trap();
        for (const auto &part : *parts) {
            // Every part's bytes lie within the body.
            if (part.data.size() > body.size() || part.name.isEmpty())
                __builtin_trap();
        }
    } else if (error.isEmpty()) {
        __builtin_trap(); // a refusal always says why
    }
    return 0;
}
