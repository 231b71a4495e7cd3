// One request of the soak: its bytes, how it travels, and what the relay may
// answer to it.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace soak {

enum class Kind {
    LookupHit,     // GET /product-id of a registered bundle: 200 with its id
    LookupMiss,    // GET /product-id of an unknown bundle: 404 {}
    Health,        // GET /healthz: 200
    AddItem,       // POST /monday/add-item: 200 with an item id
    Upload,        // POST /monday/upload-file right after the tester's item: 200, paired with it
    UploadRetry,   // the same file again: a second file on the same item
    UploadOrphan,  // an upload from an address without items: 409
    BadItem,       // add-item with a bad body or product: 400 / 404
    BadUpload,     // upload with a bad multipart body or product: 400 / 404
    Oversized,     // a Content-Length above the body limit: 413
    BadProtocol,   // malformed request line, headers, length, method, path: 400 / 404 / 405 / 411 / 431
    Burst,         // one address asking faster than its rate limit: 200, then 429
    SlowClient,    // a request that never arrives whole: 408
    Abandoned,     // a request the client gives up halfway: no answer
};
inline constexpr int kKindCount = int(Kind::Abandoned) + 1;
QString kindName(Kind kind);

/// How a request travels.
enum class Wire {
    KeepAlive,         // a pooled connection, used again afterwards
    FreshClose,        // a new connection, "Connection: close"
    FreshClientCloses, // a new connection the client closes after the answer
    FreshHttp10,       // a new connection, HTTP/1.0 (closes after the answer)
};

struct SoakRequest {
    Kind kind = Kind::LookupHit;
    QString what;          // method, path and variant, for the report
    QByteArray bytes;      // written at once
    Wire wire = Wire::KeepAlive;
    QList<int> expected;   // acceptable statuses; empty: no answer is expected
    int tester = -1;       // index of the tester sending it, or -1
    int product = -1;      // index of the product, or -1
    QString client;        // the client address as the relay stores it
    QString expectedProductId;
    QString expectedItemId;
    quint64 seed = 0;      // the uploaded file's bytes
    qint64 size = 0;
    int abandonAfterMs = -1;
    int answerTimeoutMs = 60000;
};

} // namespace soak
