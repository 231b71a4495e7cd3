// Input: an add-item body.
#include "AddItemRequest.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    const auto request = relay::AddItemRequest::parse(body, 64, &error);
    if (request) {
        if (request->itemName.trimmed().isEmpty() || request->itemName.size() > 64)
            __builtin_trap();
    } else if (error.isEmpty()) {
        __builtin_trap();
    }
    return 0;
}
