#include "platform/HttpTransfers.h"

#include <QHostAddress>
#include <QLocale>
#include <QNetworkProxyFactory>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <curl/curl.h>

#include <unordered_map>
#include <utility>

namespace tessivo {
namespace {

constexpr int kMaximumRedirects = 50;
// What the session has always offered, and decodes.
constexpr const char *kAcceptEncoding = "zstd, br, gzip, deflate";

void initialiseCurlOnce()
{
    static const bool initialised = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    Q_UNUSED(initialised);
}

UrlError errorFor(CURLcode code)
{
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
        return {-1001, QStringLiteral("The request timed out.")};
    case CURLE_COULDNT_CONNECT:
        return {-1004, QStringLiteral("Could not connect to the server.")};
    case CURLE_COULDNT_RESOLVE_HOST:
        return {-1003, QStringLiteral("A server with the specified hostname could not be found.")};
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
        return {-1002, QStringLiteral("unsupported URL")};
    case CURLE_GOT_NOTHING:   // closed after the request, before any answer
    case CURLE_SEND_ERROR:    // closed while the request was going out
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:  // closed in the middle of the answer
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return {-1005, QStringLiteral("The network connection was lost.")};
    case CURLE_TOO_MANY_REDIRECTS:
        return {-1007, QStringLiteral("too many HTTP redirects")};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return {-1200, QStringLiteral("An SSL error has occurred and a secure connection to the server cannot be made.")};
    default:
        return {-1, QString::fromUtf8(curl_easy_strerror(code))};
    }
}

// GET, HEAD and OPTIONS may go out again on a kept-alive connection that
// turned out closed; anything else goes out once, on a connection of its own.
bool isSafeMethod(const QByteArray &method)
{
    return method == "GET" || method == "HEAD" || method == "OPTIONS";
}

bool isRedirect(long status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

QByteArray hostHeader(const QUrl &url)
{
    const QString host = url.host();
    QByteArray value;
    QHostAddress address;
    if (address.setAddress(host))
        value = address.protocol() == QAbstractSocket::IPv6Protocol ? '[' + host.toLatin1() + ']' : host.toLatin1();
    else
        value = QUrl::toAce(host);
    if (url.port() != -1)
        value += ':' + QByteArray::number(url.port());
    return value;
}

QByteArray acceptLanguage()
{
    const QString locale = QLocale::system().name().replace(QLatin1Char('_'), QLatin1Char('-'));
    if (locale == QLatin1String("C"))
        return "en,*";
    if (locale.startsWith(QLatin1String("en-")))
        return locale.toLatin1() + ",*";
    return locale.toLatin1() + ",en,*";
}

// The application's proxy settings, as the rest of the host's Qt network
// code sees them; an empty text means a direct connection (curl then ignores
// proxy variables of the environment).
QByteArray proxyFor(const QUrl &url)
{
    const QList<QNetworkProxy> proxies = QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(url));
    for (const QNetworkProxy &proxy : proxies) {
        QString scheme;
        switch (proxy.type()) {
        case QNetworkProxy::NoProxy:
        case QNetworkProxy::DefaultProxy:
            return {};
        case QNetworkProxy::HttpProxy:
            scheme = QStringLiteral("http");
            break;
        case QNetworkProxy::Socks5Proxy:
            scheme = QStringLiteral("socks5h");
            break;
        default:
            continue; // caching and FTP proxies do not carry these requests
        }
        QUrl proxyUrl;
        proxyUrl.setScheme(scheme);
        proxyUrl.setHost(proxy.hostName());
        proxyUrl.setPort(proxy.port());
        proxyUrl.setUserName(proxy.user());
        proxyUrl.setPassword(proxy.password());
        return proxyUrl.toEncoded();
    }
    return {};
}

struct Transfer {
    Transfer(UrlRequest request, DataTaskCompletion completion, int redirects)
        : request(std::move(request)), completion(std::move(completion)), redirects(redirects) {}
    ~Transfer()
    {
        if (easy)
            curl_easy_cleanup(easy);
        curl_slist_free_all(headers);
        if (idle) {
            idle->stop();
            idle->deleteLater();
        }
    }
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

    void progressed()
    {
        if (idle)
            idle->start();
    }

    UrlRequest request; // holds the body curl sends from
    DataTaskCompletion completion;
    int redirects = 0;
    CURL *easy = nullptr;
    curl_slist *headers = nullptr;
    QByteArray data;
    QList<QPair<QByteArray, QByteArray>> responseHeaders;
    QPointer<QTimer> idle; // the request's time-out: no progress for that long
    curl_off_t downloaded = 0;
    curl_off_t uploaded = 0;
};

size_t onWrite(char *bytes, size_t size, size_t count, void *userdata)
{
    auto *transfer = static_cast<Transfer *>(userdata);
    transfer->data.append(bytes, qsizetype(size * count));
    transfer->progressed();
    return size * count;
}

size_t onHeader(char *bytes, size_t size, size_t count, void *userdata)
{
    auto *transfer = static_cast<Transfer *>(userdata);
    const QByteArray line = QByteArray(bytes, qsizetype(size * count)).trimmed();
    if (line.startsWith("HTTP/")) {
        transfer->responseHeaders.clear(); // a new answer (after an interim one)
    } else if (const qsizetype colon = line.indexOf(':'); colon > 0) {
        transfer->responseHeaders.append({line.left(colon).trimmed(), line.mid(colon + 1).trimmed()});
    }
    transfer->progressed();
    return size * count;
}

int onProgress(void *clientp, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded)
{
    auto *transfer = static_cast<Transfer *>(clientp);
    if (downloaded != transfer->downloaded || uploaded != transfer->uploaded) {
        transfer->downloaded = downloaded;
        transfer->uploaded = uploaded;
        transfer->progressed();
    }
    return 0;
}

} // namespace

struct HttpTransfers::Private {
    explicit Private(HttpTransfers *q);
    ~Private();

    void start(std::unique_ptr<Transfer> transfer);
    bool configure(Transfer &transfer);
    void watch(curl_socket_t socket, int what);
    void act(curl_socket_t socket, int events);
    void finish(CURL *easy, CURLcode result);
    bool followRedirect(Transfer &transfer, long status);

    HttpTransfers *q;
    CURLM *multi = nullptr;
    CURLSH *share = nullptr; // the cookies of this engine's session
    QTimer timeout;          // curl's own timers
    std::unordered_map<CURL *, std::unique_ptr<Transfer>> transfers;
    struct Watch {
        QPointer<QSocketNotifier> read;
        QPointer<QSocketNotifier> write;
    };
    std::unordered_map<curl_socket_t, Watch> sockets;
};

HttpTransfers::Private::Private(HttpTransfers *q) : q(q)
{
    initialiseCurlOnce();
    multi = curl_multi_init();
    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION,
                      +[](CURL *, curl_socket_t socket, int what, void *userp, void *) {
                          static_cast<Private *>(userp)->watch(socket, what);
                          return 0;
                      });
    curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, +[](CURLM *, long ms, void *userp) {
        auto *d = static_cast<Private *>(userp);
        if (ms < 0)
            d->timeout.stop();
        else
            d->timeout.start(int(qMin(ms, long(INT_MAX))));
        return 0;
    });
    curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
    share = curl_share_init();
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
    timeout.setSingleShot(true);
    QObject::connect(&timeout, &QTimer::timeout, q, [this] { act(CURL_SOCKET_TIMEOUT, 0); });
}

HttpTransfers::Private::~Private()
{
    // Nothing reaches back into this object while it is taken apart.
    curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, nullptr);
    curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, nullptr);
    for (auto &[easy, transfer] : transfers)
        curl_multi_remove_handle(multi, easy);
    transfers.clear();
    curl_multi_cleanup(multi);
    curl_share_cleanup(share);
}

void HttpTransfers::Private::watch(curl_socket_t socket, int what)
{
    Watch &w = sockets[socket];
    if (what == CURL_POLL_REMOVE) {
        // The notifier may be the one whose signal is running.
        for (QSocketNotifier *notifier : {w.read.data(), w.write.data()}) {
            if (notifier) {
                notifier->setEnabled(false);
                notifier->deleteLater();
            }
        }
        sockets.erase(socket);
        return;
    }
    const auto notifier = [&](QSocketNotifier::Type type, int event) {
        auto *n = new QSocketNotifier(socket, type, q);
        QObject::connect(n, &QSocketNotifier::activated, q, [this, socket, event] { act(socket, event); });
        return n;
    };
    if (!w.read)
        w.read = notifier(QSocketNotifier::Read, CURL_CSELECT_IN);
    if (!w.write)
        w.write = notifier(QSocketNotifier::Write, CURL_CSELECT_OUT);
    w.read->setEnabled(what & CURL_POLL_IN);
    w.write->setEnabled(what & CURL_POLL_OUT);
}

void HttpTransfers::Private::act(curl_socket_t socket, int events)
{
    int running = 0;
    curl_multi_socket_action(multi, socket, events, &running);
    int left = 0;
    while (CURLMsg *message = curl_multi_info_read(multi, &left)) {
        if (message->msg == CURLMSG_DONE)
            finish(message->easy_handle, message->data.result);
    }
}

void HttpTransfers::Private::start(std::unique_ptr<Transfer> transfer)
{
    Transfer &t = *transfer;
    t.easy = curl_easy_init();
    if (!t.easy || !configure(t)) {
        t.completion(std::nullopt, std::nullopt, errorFor(CURLE_FAILED_INIT));
        return;
    }
    if (t.request.timeoutInterval > 0) {
        t.idle = new QTimer(q);
        t.idle->setSingleShot(true);
        t.idle->setInterval(int(qMin(t.request.timeoutInterval * 1000, double(INT_MAX))));
        QObject::connect(t.idle, &QTimer::timeout, q,
                         [this, easy = t.easy] { finish(easy, CURLE_OPERATION_TIMEDOUT); });
        t.idle->start();
    }
    CURL *easy = t.easy;
    transfers.emplace(easy, std::move(transfer));
    if (curl_multi_add_handle(multi, easy) != CURLM_OK)
        finish(easy, CURLE_FAILED_INIT);
}

bool HttpTransfers::Private::configure(Transfer &t)
{
    CURL *easy = t.easy;
    const UrlRequest &r = t.request;
    const QByteArray method = r.httpMethod.isEmpty() ? QByteArray("GET") : r.httpMethod.toUpper();
    const auto has = [&r](const char *name) { return r.value(name).has_value(); };

    bool ok = curl_easy_setopt(easy, CURLOPT_URL, r.url.toEncoded().constData()) == CURLE_OK;
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_PROXY, proxyFor(r.url).constData());
    curl_easy_setopt(easy, CURLOPT_SHARE, share);
    curl_easy_setopt(easy, CURLOPT_COOKIEFILE, ""); // cookies in memory, per session
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &t);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, onWrite);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &t);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &t);
    curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, onProgress);
    curl_easy_setopt(easy, CURLOPT_XFERINFODATA, &t);
    curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
    if (!isSafeMethod(method)) {
        // Never resent: curl resends a request whose reused connection
        // turns out closed, so this one gets a connection of its own.
        curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, 1L);
        curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
    }

    if (method == "HEAD")
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    else if (method != "GET" && !(method == "POST" && r.httpBody))
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.constData());
    if (r.httpBody) {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(r.httpBody->size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, r.httpBody->constData());
    }

    // The header lines in the session's order; curl adds none of its own.
    QList<QByteArray> lines;
    if (!has("Host"))
        lines << "Host: " + hostHeader(r.url);
    for (const auto &[name, value] : r.headers)
        lines << (value.isEmpty() ? name + ';' : name + ": " + value); // "Name;" sends it empty
    if (r.httpBody && !has("Content-Length"))
        lines << "Content-Length: " + QByteArray::number(r.httpBody->size());
    if (!has("Connection"))
        lines << "Connection: Keep-Alive";
    if (!has("Accept-Encoding")) {
        lines << QByteArray("Accept-Encoding: ") + kAcceptEncoding;
        curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, kAcceptEncoding); // and decode the answer
    }
    if (!has("Accept-Language"))
        lines << "Accept-Language: " + acceptLanguage();
    if (!has("User-Agent"))
        lines << "User-Agent: Mozilla/5.0";
    for (const char *own : {"Accept", "Expect", "Content-Type"}) {
        if (!has(own))
            lines << QByteArray(own) + ':'; // "Name:" removes curl's own line
    }
    for (const QByteArray &line : lines) {
        curl_slist *appended = curl_slist_append(t.headers, line.constData());
        if (!appended)
            return false;
        t.headers = appended;
    }
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, t.headers);
    return ok;
}

void HttpTransfers::Private::finish(CURL *easy, CURLcode result)
{
    const auto it = transfers.find(easy);
    if (it == transfers.end())
        return;
    std::unique_ptr<Transfer> transfer = std::move(it->second);
    transfers.erase(it);
    curl_multi_remove_handle(multi, easy);

    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    if (result != CURLE_OK || status <= 0) {
        transfer->completion(std::nullopt, std::nullopt,
                             errorFor(result == CURLE_OK ? CURLE_WEIRD_SERVER_REPLY : result));
        return;
    }
    if (isRedirect(status) && followRedirect(*transfer, status))
        return;
    UrlResponse response;
    response.url = transfer->request.url;
    response.statusCode = int(status);
    response.headers = transfer->responseHeaders;
    transfer->completion(std::move(transfer->data), response, std::nullopt);
}

// Redirects are followed here rather than by curl, so that each hop is
// a request of its own with the header lines above. 301, 302 and 303 go on
// as GET without a body; 307 and 308 keep the method and body. A redirect
// from https to http is refused.
bool HttpTransfers::Private::followRedirect(Transfer &transfer, long status)
{
    QByteArray location;
    for (const auto &[name, value] : transfer.responseHeaders) {
        if (name.compare("Location", Qt::CaseInsensitive) == 0)
            location = value;
    }
    if (location.isEmpty())
        return false; // the answer itself is the response
    const QUrl target = transfer.request.url.resolved(QUrl::fromEncoded(location));
    const auto fail = [&](UrlError error) { transfer.completion(std::nullopt, std::nullopt, std::move(error)); };
    if (transfer.redirects >= kMaximumRedirects) {
        fail(errorFor(CURLE_TOO_MANY_REDIRECTS));
    } else if (target.scheme() != QLatin1String("http") && target.scheme() != QLatin1String("https")) {
        fail(errorFor(CURLE_UNSUPPORTED_PROTOCOL));
    } else if (transfer.request.url.scheme() == QLatin1String("https") && target.scheme() == QLatin1String("http")) {
        fail({-1, QStringLiteral("Insecure redirect")});
    } else {
        UrlRequest next = transfer.request;
        next.url = target;
        if (status != 307 && status != 308 && next.httpMethod != "HEAD") {
            next.httpMethod = "GET";
            next.httpBody.reset();
            next.headers.removeIf([](const QPair<QByteArray, QByteArray> &h) {
                return h.first.compare("Content-Type", Qt::CaseInsensitive) == 0
                    || h.first.compare("Content-Length", Qt::CaseInsensitive) == 0;
            });
        }
        start(std::make_unique<Transfer>(std::move(next), std::move(transfer.completion), transfer.redirects + 1));
    }
    return true;
}

HttpTransfers::HttpTransfers(QObject *parent) : QObject(parent), d(std::make_unique<Private>(this)) {}

HttpTransfers::~HttpTransfers() = default;

void HttpTransfers::start(const UrlRequest &request, DataTaskCompletion completion)
{
    d->start(std::make_unique<Transfer>(request, std::move(completion), 0));
}

} // namespace tessivo
