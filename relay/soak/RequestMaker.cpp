#include "RequestMaker.h"

#include "Payload.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QUrl>

namespace soak {
namespace {

template<typename T>
void readVariable(const QProcessEnvironment &env, const char *name, T *value)
{
    bool ok = false;
    const qint64 v = env.value(QLatin1String(name)).toLongLong(&ok);
    if (ok)
        *value = T(v);
}

const QList<QByteArray> kFileKinds[] = {
    {"UploadImage", "testFile.png", "image/png"},
    {"UploadVideo", "report.mp4", "video/mp4"},
    {"UploadImage", "screen shot \xc3\xa9t\xc3\xa9.jpg", "image/jpeg"},
    {"UploadText", "notes.txt", "text/plain"},
};

} // namespace

QString kindName(Kind kind)
{
    static const char *const names[kKindCount] = {
        "lookup hit", "lookup miss", "healthz", "add item", "upload", "upload again", "upload, no item",
        "bad add-item", "bad upload", "oversized body", "bad protocol", "rate-limit burst", "slow client",
        "abandoned",
    };
    return QLatin1String(names[int(kind)]);
}

RelayLimits RelayLimits::fromEnvironment()
{
    const QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    RelayLimits l;
    readVariable(env, "TESSIVO_RELAY_MAX_BODY_BYTES", &l.maxBodyBytes);
    readVariable(env, "TESSIVO_RELAY_MAX_HEADER_BYTES", &l.maxHeaderBytes);
    readVariable(env, "TESSIVO_RELAY_MAX_ITEM_NAME", &l.maxItemName);
    readVariable(env, "TESSIVO_RELAY_CLIENT_RATE", &l.clientRatePerMinute);
    readVariable(env, "TESSIVO_RELAY_CLIENT_BURST", &l.clientBurst);
    readVariable(env, "TESSIVO_RELAY_IDLE_TIMEOUT_MS", &l.idleTimeoutMs);
    readVariable(env, "TESSIVO_RELAY_REQUEST_TIMEOUT_MS", &l.requestTimeoutMs);
    return l;
}

RequestMaker::RequestMaker(QByteArray host, QList<SoakProduct> products, RelayLimits limits, quint64 seed)
    : m_host(std::move(host)), m_products(std::move(products)), m_limits(limits), m_random(seed)
{
}

QString RequestMaker::relayForm(const QString &address)
{
    return QHostAddress(address).toString();
}

QByteArray RequestMaker::randomHex(int bytes)
{
    QByteArray raw(bytes, Qt::Uninitialized);
    for (char &c : raw)
        c = char(m_random.bounded(256));
    return raw.toHex();
}

QByteArray RequestMaker::head(const QByteArray &method, const QByteArray &target, Wire wire, const QString &address,
                              qint64 bodyLength, const QList<QByteArray> &extra)
{
    QByteArray h = method + ' ' + target + (wire == Wire::FreshHttp10 ? " HTTP/1.0\r\n" : " HTTP/1.1\r\n");
    h += "Host: " + m_host + "\r\n";
    h += "User-Agent: tessivo-relay-soak\r\n";
    if (!address.isEmpty()) {
        // Now and then a chain, as behind two proxies: the relay takes the last entry.
        const QByteArray chain = m_random.bounded(10) == 0
            ? "203.0.113." + QByteArray::number(m_random.bounded(1, 255)) + ", "
            : QByteArray();
        h += "X-Forwarded-For: " + chain + address.toLatin1() + "\r\n";
    }
    if (wire == Wire::FreshClose)
        h += "Connection: close\r\n";
    if (bodyLength >= 0)
        h += "Content-Length: " + QByteArray::number(bodyLength) + "\r\n";
    for (const QByteArray &line : extra)
        h += line + "\r\n";
    return h + "\r\n";
}

SoakRequest RequestMaker::make(Kind kind, QString what, Wire wire, QList<int> expected, const QString &address)
{
    SoakRequest r;
    r.kind = kind;
    r.what = std::move(what);
    r.wire = wire;
    r.expected = std::move(expected);
    r.client = address.isEmpty() ? QString() : relayForm(address);
    return r;
}

SoakRequest RequestMaker::lookupHit(int product, const QString &address, Wire wire)
{
    SoakRequest r = make(Kind::LookupHit, QStringLiteral("GET /product-id (registered bundle)"), wire, {200, 429}, address);
    r.product = product;
    r.expectedProductId = m_products.at(product).id;
    const QByteArray bundle = QUrl::toPercentEncoding(m_products.at(product).bundleId);
    r.bytes = head("GET", "/product-id?bundleId=" + bundle, wire, address, -1);
    return r;
}

SoakRequest RequestMaker::lookupMiss(const QString &address, Wire wire)
{
    // Mostly the same few unregistered apps, sometimes a bundle id never seen.
    const QByteArray bundle = m_random.bounded(4) == 0
        ? "org.example.unknown." + randomHex(6)
        : "org.example.unregistered" + QByteArray::number(m_random.bounded(40));
    SoakRequest r = make(Kind::LookupMiss, QStringLiteral("GET /product-id (unknown bundle)"), wire, {404, 429}, address);
    r.bytes = head("GET", "/product-id?bundleId=" + bundle, wire, address, -1);
    return r;
}

SoakRequest RequestMaker::health(Wire wire)
{
    SoakRequest r = make(Kind::Health, QStringLiteral("GET /healthz"), wire, {200}, {});
    r.bytes = head("GET", "/healthz", wire, {}, -1);
    return r;
}

QString RequestMaker::itemName()
{
    static const QStringList words{QStringLiteral("Crash"), QStringLiteral("button"), QStringLiteral("überlappt"),
                                   QStringLiteral("le texte"), QStringLiteral("画面"), QStringLiteral("🐞"),
                                   QStringLiteral("\"quoted\""), QStringLiteral("back\\slash"),
                                   QStringLiteral("line\nbreak"), QStringLiteral("<b>tag</b>")};
    // Without a limit of the relay's own, long names are still made.
    const int longest = m_limits.maxItemName > 0 ? m_limits.maxItemName : 1024;
    if (m_random.bounded(50) == 0)
        return QString(longest, QChar(0xe9)); // the longest name made (exactly the longest accepted)
    QString name = QStringLiteral("Report %1:").arg(m_random.bounded(1000000));
    const int count = m_random.bounded(1, 40);
    for (int i = 0; i < count; ++i)
        name += QLatin1Char(' ') + words.at(m_random.bounded(int(words.size())));
    return name.left(longest);
}

SoakRequest RequestMaker::addItem(int product, const QString &address, Wire wire)
{
    SoakRequest r = make(Kind::AddItem, QStringLiteral("POST /monday/add-item"), wire, {200, 429}, address);
    r.product = product;
    const QByteArray body =
        QJsonDocument(QJsonObject{{QStringLiteral("item_name"), itemName()}}).toJson(QJsonDocument::Compact);
    r.bytes = head("POST", "/monday/add-item?productId=" + m_products.at(product).id.toLatin1(), wire, address,
                   body.size(), {"Content-Type: application/json"})
        + body;
    return r;
}

QByteArray RequestMaker::multipart(const QByteArray &boundary, const QByteArray &productId, const QByteArray &title,
                                   const QByteArray &fileName, const QByteArray &mime, const QByteArray &data)
{
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"productId\"\r\n\r\n" + productId + "\r\n"
        + "--" + boundary + "\r\nContent-Disposition: form-data; name=\"title\"\r\n\r\n" + title + "\r\n"
        + "--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + fileName
        + "\"\r\nContent-Type: " + mime + "\r\n\r\n" + data + "\r\n--" + boundary + "--\r\n";
}

SoakRequest RequestMaker::upload(int product, const QString &address, Wire wire, const QString &itemId, qint64 size)
{
    SoakRequest r = make(Kind::Upload, QStringLiteral("POST /monday/upload-file (%1 bytes)").arg(size), wire,
                         {200, 429}, address);
    r.product = product;
    r.expectedItemId = itemId;
    r.seed = m_random.generate64();
    r.size = size;
    const QList<QByteArray> &file = kFileKinds[m_random.bounded(4)];
    const QByteArray boundary = "soak-" + randomHex(8);
    const QByteArray body = multipart(boundary, m_products.at(product).id.toLatin1(), file.at(0), file.at(1),
                                      file.at(2), payload(r.seed, size));
    // The kit writes "boundary =" with a space; other clients do not.
    QList<QByteArray> extra{"Content-Type: multipart/form-data; boundary" + QByteArray(m_random.bounded(2) ? " =" : "=")
                            + boundary};
    if (m_random.bounded(5) == 0)
        extra << "Expect: 100-continue";
    r.bytes = head("POST", "/monday/upload-file", wire, address, body.size(), extra) + body;
    return r;
}

SoakRequest RequestMaker::orphanUpload(int product, const QString &address, Wire wire)
{
    SoakRequest r = upload(product, address, wire, {}, m_random.bounded(1, 4096));
    r.kind = Kind::UploadOrphan;
    r.what = QStringLiteral("POST /monday/upload-file (no item from this address)");
    r.expected = {409, 429};
    return r;
}

SoakRequest RequestMaker::badItem(const QString &address, Wire wire)
{
    const QByteArray product = m_products.at(m_random.bounded(int(m_products.size()))).id.toLatin1();
    QByteArray target = "/monday/add-item?productId=" + product;
    QByteArray body;
    QString variant;
    int status = 400;
    // A name one character too long exists only when the relay has a limit.
    const int variants = m_limits.maxItemName > 0 ? 8 : 7;
    int pick = m_random.bounded(variants);
    if (variants == 7 && pick >= 5)
        ++pick;
    switch (pick) {
    case 0: body = "{\"item_name\": "; variant = QStringLiteral("truncated JSON"); break;
    case 1: body = "[\"item_name\"]"; variant = QStringLiteral("not an object"); break;
    case 2: body = "{\"name\":\"x\"}"; variant = QStringLiteral("no item_name"); break;
    case 3: body = "{\"item_name\":42}"; variant = QStringLiteral("a number"); break;
    case 4: body = "{\"item_name\":\"   \"}"; variant = QStringLiteral("blank"); break;
    case 5:
        body = "{\"item_name\":\"" + QByteArray(m_limits.maxItemName + 1, 'x') + "\"}";
        variant = QStringLiteral("one character too long");
        break;
    case 6:
        target = "/monday/add-item?productId=" + randomHex(16);
        body = "{\"item_name\":\"unknown product\"}";
        variant = QStringLiteral("unknown product");
        status = 404;
        break;
    default:
        target = "/monday/add-item";
        body = "{\"item_name\":\"no product\"}";
        variant = QStringLiteral("no productId");
        status = 404;
        break;
    }
    SoakRequest r = make(Kind::BadItem, QStringLiteral("POST /monday/add-item (%1)").arg(variant), wire,
                         {status, 429}, address);
    r.bytes = head("POST", target, wire, address, body.size(), {"Content-Type: application/json"}) + body;
    return r;
}

SoakRequest RequestMaker::badUpload(const QString &address, Wire wire)
{
    const QByteArray product = m_products.at(m_random.bounded(int(m_products.size()))).id.toLatin1();
    const QByteArray good = multipart("B0undary", product, "UploadImage", "a.png", "image/png", payload(7, 600));
    QByteArray contentType = "Content-Type: multipart/form-data; boundary=B0undary";
    QByteArray body = good;
    QString variant;
    int status = 400;
    switch (m_random.bounded(6)) {
    case 0: contentType = "Content-Type: multipart/form-data"; variant = QStringLiteral("no boundary"); break;
    case 1: contentType = "Content-Type: application/json"; body = "{}"; variant = QStringLiteral("not multipart"); break;
    case 2: body = good.left(good.size() - 30); variant = QStringLiteral("truncated"); break;
    case 3:
        body = "--B0undary\r\nContent-Disposition: form-data; name=\"productId\"\r\n\r\n" + product + "\r\n--B0undary--\r\n";
        variant = QStringLiteral("no file part");
        break;
    case 4:
        body = multipart("B0undary", randomHex(16), "UploadImage", "a.png", "image/png", "x");
        variant = QStringLiteral("unknown product");
        status = 404;
        break;
    default:
        body = "--B0undary\r\nContent-Disposition: form-data\r\n\r\nx\r\n--B0undary--\r\n";
        variant = QStringLiteral("a part without a name");
        break;
    }
    SoakRequest r = make(Kind::BadUpload, QStringLiteral("POST /monday/upload-file (%1)").arg(variant), wire,
                         {status, 429}, address);
    r.bytes = head("POST", "/monday/upload-file", wire, address, body.size(), {contentType}) + body;
    return r;
}

SoakRequest RequestMaker::oversized(const QString &address)
{
    // Refused from the head: only a little of the announced body is sent.
    const qint64 length = m_limits.maxBodyBytes + 1 + m_random.bounded(qint64(m_limits.maxBodyBytes));
    SoakRequest r = make(Kind::Oversized, QStringLiteral("POST /monday/upload-file (Content-Length %1)").arg(length),
                         Wire::FreshClose, {413}, address);
    r.bytes = head("POST", "/monday/upload-file", Wire::FreshClose, address, length,
                   {"Content-Type: multipart/form-data; boundary=x"})
        + payload(length, m_random.bounded(1, 16 * 1024));
    return r;
}

qint64 RequestMaker::trailingBodySize()
{
    // Half of the refused requests bring a small body, most others one of
    // a few KiB, and one in twelve 64 KiB to 1 MiB.
    const int r = m_random.bounded(24);
    if (r < 12)
        return m_random.bounded(1, 1024);
    if (r < 22)
        return (qint64(1024) << m_random.bounded(6)) + m_random.bounded(1024);
    return (qint64(64 * 1024) << m_random.bounded(5)) + m_random.bounded(64 * 1024);
}

SoakRequest RequestMaker::refusedStream(const QString &address)
{
    // A video streamed without a Content-Length, or sent with a cookie over
    // the header limit: refused from the head while megabytes still come.
    // The relay reads and drops up to its body limit after a refusal; a
    // client that sends more than that is reset, so the body stays within.
    const qint64 most = std::min<qint64>(6 * 1024 * 1024, m_limits.maxBodyBytes);
    const qint64 size = m_random.bounded(most / 2, most);
    return badProtocol(address, m_random.bounded(2) ? 2 : 3, size);
}

SoakRequest RequestMaker::badProtocol(const QString &address, int variant, qint64 bodySize)
{
    const QByteArray xff = "X-Forwarded-For: " + address.toLatin1() + "\r\n";
    if (bodySize < 0)
        bodySize = trailingBodySize();
    const QByteArray body = payload(bodySize, bodySize);
    SoakRequest r;
    switch (variant >= 0 ? variant : m_random.bounded(7)) {
    case 0:
        r = make(Kind::BadProtocol, QStringLiteral("a request line that is not one"), Wire::FreshClose, {400}, address);
        r.bytes = "HELLO THERE\r\nHost: " + m_host + "\r\n" + xff + "\r\n";
        break;
    case 1:
        r = make(Kind::BadProtocol, QStringLiteral("a request target without a slash"), Wire::FreshClose, {400}, address);
        r.bytes = "GET product-id HTTP/1.1\r\nHost: " + m_host + "\r\n" + xff + "\r\n";
        break;
    case 2:
        r = make(Kind::BadProtocol, QStringLiteral("POST /monday/upload-file with a chunked body of %1 bytes").arg(bodySize),
                 Wire::FreshClose, {411}, address);
        r.bytes = head("POST", "/monday/upload-file", Wire::FreshClose, address, -1,
                       {"Transfer-Encoding: chunked", "Content-Type: multipart/form-data; boundary=x"})
            + QByteArray::number(bodySize, 16) + "\r\n" + body + "\r\n0\r\n\r\n";
        break;
    case 3:
        r = make(Kind::BadProtocol, QStringLiteral("POST /monday/upload-file with headers over the limit and a body of %1 "
                                                   "bytes").arg(bodySize),
                 Wire::FreshClose, {431}, address);
        r.bytes = head("POST", "/monday/upload-file", Wire::FreshClose, address, bodySize,
                       {"Cookie: session=" + QByteArray(m_limits.maxHeaderBytes + 100, 'p')})
            + body;
        break;
    case 4:
        r = make(Kind::BadProtocol, QStringLiteral("POST /monday/add-item with a Content-Length that is not a number "
                                                   "and %1 bytes of body").arg(bodySize),
                 Wire::FreshClose, {400}, address);
        r.bytes = head("POST", "/monday/add-item", Wire::FreshClose, address, -1, {"Content-Length: 12x"}) + body;
        break;
    case 5:
        r = make(Kind::BadProtocol, QStringLiteral("GET /monday/add-item (wrong method)"), Wire::FreshClose, {405, 429},
                 address);
        r.bytes = head("GET", "/monday/add-item", Wire::FreshClose, address, -1);
        break;
    default:
        r = make(Kind::BadProtocol, QStringLiteral("GET of an unknown path"), Wire::FreshClose, {404, 429}, address);
        r.bytes = head("GET", "/wp-login.php?x=" + randomHex(4), Wire::FreshClose, address, -1);
        break;
    }
    return r;
}

SoakRequest RequestMaker::slowClient(const QString &address)
{
    // The head and a part of the body, then nothing: the relay answers 408
    // once its request time-out has passed.
    SoakRequest r = make(Kind::SlowClient, QStringLiteral("POST /monday/add-item that stops halfway"),
                         Wire::FreshClose, {408}, address);
    r.bytes = head("POST", "/monday/add-item?productId=" + m_products.first().id.toLatin1(), Wire::FreshClose, address,
                   100, {"Content-Type: application/json"})
        + "{\"item_name\":";
    r.answerTimeoutMs = m_limits.requestTimeoutMs + 30000;
    return r;
}

SoakRequest RequestMaker::abandoned(const QString &address)
{
    SoakRequest r = make(Kind::Abandoned, QStringLiteral("a request the client leaves halfway"), Wire::FreshClose, {},
                         address);
    const bool inHead = m_random.bounded(2) == 0;
    const QByteArray full = head("POST", "/monday/add-item?productId=" + m_products.first().id.toLatin1(),
                                 Wire::FreshClose, address, 200, {"Content-Type: application/json"});
    r.bytes = inHead ? full.left(full.size() / 2) : full + "{\"item_name\":\"never fin";
    r.abandonAfterMs = m_random.bounded(1, 200);
    return r;
}

} // namespace soak
