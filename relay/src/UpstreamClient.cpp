#include "UpstreamClient.h"

#include <QElapsedTimer>

#include <curl/curl.h>

#include <memory>

namespace relay {
namespace {

struct Progress {
    const std::atomic_bool *stopping;
    qint64 timeoutMs;
    QElapsedTimer sinceProgress;
    curl_off_t lastBytes = -1;
    bool timedOut = false;
};

int onProgress(void *data, curl_off_t dltotal, curl_off_t dlnow, curl_off_t ultotal, curl_off_t ulnow)
{
    Q_UNUSED(dltotal);
    Q_UNUSED(ultotal);
    auto *progress = static_cast<Progress *>(data);
    if (progress->stopping->load())
        return 1;
    const curl_off_t bytes = dlnow + ulnow;
    if (bytes != progress->lastBytes) {
        progress->lastBytes = bytes;
        progress->sinceProgress.restart();
    } else if (progress->sinceProgress.elapsed() > progress->timeoutMs) {
        progress->timedOut = true;
        return 1;
    }
    return 0;
}

size_t onBody(char *data, size_t size, size_t count, void *body)
{
    static_cast<QByteArray *>(body)->append(data, qsizetype(size * count));
    return size * count;
}

struct CurlDeleter {
    void operator()(CURL *curl) const { curl_easy_cleanup(curl); }
    void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

} // namespace

UpstreamClient::UpstreamClient(int timeoutMs, QObject *parent) : QObject(parent), m_timeoutMs(timeoutMs)
{
    static const bool initialised = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    Q_UNUSED(initialised);
    m_pool.setMaxThreadCount(16);
    m_pool.setExpiryTimeout(30'000);
}

UpstreamClient::~UpstreamClient()
{
    m_stopping = true;
    m_pool.waitForDone();
}

void UpstreamClient::post(const QString &url, const Headers &headers, const QByteArray &body,
                          std::function<void(UpstreamAnswer)> done)
{
    m_pool.start([this, url, headers, body, done = std::move(done)]() mutable {
        UpstreamAnswer answer = perform(url, headers, body);
        if (m_stopping)
            return;
        QMetaObject::invokeMethod(
            this, [done = std::move(done), answer = std::move(answer)] { done(answer); }, Qt::QueuedConnection);
    });
}

UpstreamAnswer UpstreamClient::perform(const QString &url, const Headers &headers, const QByteArray &body) const
{
    UpstreamAnswer answer;
    std::unique_ptr<CURL, CurlDeleter> curl(curl_easy_init());
    if (!curl) {
        answer.failure = UpstreamAnswer::Failure::unreachable;
        answer.error = QStringLiteral("no HTTP engine");
        return answer;
    }
    std::unique_ptr<curl_slist, CurlDeleter> list;
    auto add = [&list](const QByteArray &line) { list.reset(curl_slist_append(list.release(), line.constData())); };
    for (const auto &[name, value] : headers)
        add(name + ": " + value);
    add("Expect:"); // the body goes at once, no 100-continue round trip
    const QByteArray target = url.toUtf8();
    const bool secure = target.startsWith("https:");
    Progress progress{&m_stopping, m_timeoutMs, {}, -1, false};
    progress.sinceProgress.start();
    CURL *c = curl.get();
    curl_easy_setopt(c, CURLOPT_URL, target.constData());
    curl_easy_setopt(c, CURLOPT_POST, 1L);
    curl_easy_setopt(c, CURLOPT_POSTFIELDS, body.constData());
    curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(body.size()));
    curl_easy_setopt(c, CURLOPT_HTTPHEADER, list.get());
    curl_easy_setopt(c, CURLOPT_USERAGENT, "tessivo-relay/" TESSIVO_RELAY_VERSION);
    curl_easy_setopt(c, CURLOPT_ACCEPT_ENCODING, "");
    // A mutation goes out once: never on a reused connection, never again
    // after a hang-up.
    curl_easy_setopt(c, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(c, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(c, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(c, CURLOPT_MAXREDIRS, 50L);
    curl_easy_setopt(c, CURLOPT_REDIR_PROTOCOLS_STR, secure ? "https" : "http,https");
    curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(c, CURLOPT_PROXY, ""); // as the relay's other traffic: no proxy from the environment
    curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT_MS, long(m_timeoutMs));
    curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(c, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(c, CURLOPT_XFERINFOFUNCTION, onProgress);
    curl_easy_setopt(c, CURLOPT_XFERINFODATA, &progress);
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(c, CURLOPT_WRITEDATA, &answer.body);
    const CURLcode result = curl_easy_perform(c);
    if (result == CURLE_OK) {
        long status = 0;
        curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &status);
        answer.status = int(status);
        return answer;
    }
    answer.body.clear();
    const bool timedOut = progress.timedOut || result == CURLE_OPERATION_TIMEDOUT;
    answer.failure = timedOut ? UpstreamAnswer::Failure::timedOut : UpstreamAnswer::Failure::unreachable;
    answer.error = QString::fromUtf8(curl_easy_strerror(result));
    return answer;
}

} // namespace relay
