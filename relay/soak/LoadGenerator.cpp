#include "LoadGenerator.h"

#include "AnswerCheck.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <sys/resource.h>

namespace soak {
namespace {

// The mix, in requests per thousand; uploads follow the items they belong
// to (kUploadShare of the items get one, kRetryShare of those a second).
struct Share {
    Kind kind;
    int perMille;
};
constexpr Share kMix[] = {
    {Kind::LookupHit, 430},  {Kind::LookupMiss, 90}, {Kind::Health, 20},      {Kind::AddItem, 260},
    {Kind::UploadOrphan, 10}, {Kind::BadItem, 50},   {Kind::BadUpload, 30},   {Kind::Oversized, 8},
    {Kind::BadProtocol, 25}, {Kind::SlowClient, 1},  {Kind::Abandoned, 6},
};
constexpr double kUploadShare = 0.09;
constexpr double kRetryShare = 0.10;
constexpr qint64 kBurstEveryMs = 45000;
constexpr qint64 kParkEveryMs = 20000;
constexpr qint64 kStreamEveryMs = 60000;

QString connectionText(HttpConnection *connection, Wire wire)
{
    switch (wire) {
    case Wire::KeepAlive:
        return QStringLiteral("request %1 of a keep-alive connection").arg(connection->requestsSent());
    case Wire::FreshClose: return QStringLiteral("a fresh connection (Connection: close)");
    case Wire::FreshClientCloses: return QStringLiteral("a fresh connection the client closes");
    case Wire::FreshHttp10: return QStringLiteral("a fresh HTTP/1.0 connection");
    }
    return {};
}

QString testerAddress(int i)
{
    // One in ten testers has an IPv6 address.
    if (i % 10 == 9)
        return QStringLiteral("fd00:5::%1").arg(i + 1, 0, 16);
    return QStringLiteral("10.1.%1.%2").arg(i / 250).arg(i % 250 + 1);
}

} // namespace

LoadGenerator::LoadGenerator(SoakOptions options, QObject *parent)
    : QObject(parent),
      m_options(std::move(options)),
      m_maker(m_options.host.toLatin1() + ':' + QByteArray::number(m_options.port), m_options.products,
              m_options.limits, m_options.seed),
      m_rss(m_options.relayPid, m_options.sampleMs, this),
      m_connections(m_options.host, m_options.port, m_options.poolSize, m_options.limits.idleTimeoutMs, this)
{
    connect(&m_connections, &ConnectionPool::answered, this, &LoadGenerator::onAnswered);
    connect(&m_connections, &ConnectionPool::failed, this, &LoadGenerator::onFailed);
    connect(&m_connections, &ConnectionPool::anomaly, this, [this](const QString &text) { m_stats.anomaly(text); });
    for (int i = 0; i < m_options.testers; ++i)
        m_testers.append(Tester{testerAddress(i)});
    // The first of each timed event falls within the warm-up, so that the
    // memory baseline has seen every kind of request.
    const qint64 warmupMs = RssVerdict::windowFor(qint64(m_options.seconds) * 1000);
    m_nextParkMs = warmupMs / 5;
    m_nextBurstMs = warmupMs / 4;
    m_nextStreamMs = warmupMs / 2;
    m_pacer.setTimerType(Qt::PreciseTimer);
    m_pacer.setInterval(10);
    connect(&m_pacer, &QTimer::timeout, this, &LoadGenerator::tick);
    connect(&m_rss, &RssSampler::processGone, this, [this] {
        m_relayGone = true;
        m_stats.anomaly(QStringLiteral("the relay's process has gone"));
        finish();
    });
}

void LoadGenerator::start()
{
    m_startMs = m_lastTickMs = nowMs();
    m_rss.start();
    m_pacer.start();
}

void LoadGenerator::tick()
{
    const qint64 now = nowMs();
    const qint64 elapsed = now - m_startMs;
    // Expired requests first: their slots are free again.
    QList<QPair<HttpConnection *, int>> expired;
    for (auto it = m_inFlight.cbegin(); it != m_inFlight.cend(); ++it) {
        if (now - it->startMs > it->request.answerTimeoutMs)
            expired.append({it.key(), it->request.answerTimeoutMs});
    }
    for (const auto &[connection, timeoutMs] : expired)
        onFailed(connection, QStringLiteral("no answer within %1 s").arg(timeoutMs / 1000));
    m_connections.sweep(now);
    if (!m_draining && elapsed >= qint64(m_options.seconds) * 1000) {
        m_draining = true;
        m_endMs = now;
        endBurst();
    }
    if (m_draining) {
        if (m_inFlight.isEmpty() && !m_connections.releasing())
            finish();
        return;
    }
    timedEvents(elapsed);
    // A steady rate: slots the relay is too slow to take are dropped, never
    // made up for later at full speed.
    m_tokens += m_options.rate * double(now - m_lastTickMs) / 1000.0;
    m_lastTickMs = now;
    const double cap = std::max(2.0, m_options.rate / 10.0);
    if (m_tokens > cap) {
        m_droppedSlots += qint64(m_tokens - cap);
        m_tokens = cap;
    }
    while (m_tokens >= 1.0 && m_inFlight.size() < m_options.maxInFlight) {
        std::optional<SoakRequest> request = next(now);
        if (!request)
            break;
        issue(std::move(*request));
        m_tokens -= 1.0;
    }
}

void LoadGenerator::timedEvents(qint64 elapsed)
{
    // A rate-limit burst from an address of its own, now and then.
    if (elapsed >= m_nextBurstMs && !m_burst.connection && m_options.limits.clientRatePerMinute > 0) {
        m_nextBurstMs += kBurstEveryMs;
        ++m_bursts;
        m_burst = Burst{m_connections.fresh(), QStringLiteral("10.250.%1.%2").arg(m_bursts / 250).arg(m_bursts % 250 + 1),
                        m_options.limits.clientBurst + 30, 0, 0, nowMs()};
    }
    // A refusal while megabytes are still coming, once a minute.
    if (elapsed >= m_nextStreamMs) {
        m_nextStreamMs += kStreamEveryMs;
        m_streamDue = true;
    }
    // A keep-alive connection left alone: the relay must close it after its idle time-out.
    if (elapsed >= m_nextParkMs) {
        m_nextParkMs += kParkEveryMs;
        m_connections.parkOne();
    }
}

Wire LoadGenerator::reusableWire()
{
    const int r = m_maker.random().bounded(100);
    if (r < 65)
        return Wire::KeepAlive;
    if (r < 90)
        return Wire::FreshClose;
    return r < 95 ? Wire::FreshClientCloses : Wire::FreshHttp10;
}

int LoadGenerator::freeTester(bool forItem)
{
    for (int attempt = 0; attempt < 8; ++attempt) {
        const int i = m_maker.random().bounded(int(m_testers.size()));
        if (!m_testers.at(i).busy && !(forItem && m_testers.at(i).reserved))
            return i;
    }
    return -1;
}

qint64 LoadGenerator::uploadSize()
{
    // Mostly screenshots of a few KB to a few hundred, now and then a video
    // of up to 1 MiB; within the budget for the whole run.
    QRandomGenerator &random = m_maker.random();
    const int r = random.bounded(100);
    qint64 size = r < 60 ? random.bounded(1024, 16 * 1024)
        : r < 90         ? random.bounded(16 * 1024, 128 * 1024)
        : r < 98         ? random.bounded(128 * 1024, 512 * 1024)
                         : random.bounded(512 * 1024, 1024 * 1024 + 1);
    if (m_uploadedBytes + size > m_options.uploadBudgetBytes)
        size = random.bounded(1024, 4096);
    return size;
}

std::optional<SoakRequest> LoadGenerator::next(qint64 now)
{
    if (m_burst.connection && m_burst.left > 0) {
        if (!m_burst.connection->busy()) {
            SoakRequest r = m_maker.lookupHit(0, m_burst.address, Wire::KeepAlive);
            r.kind = Kind::Burst;
            r.what = QStringLiteral("GET /product-id (burst %1 of %2 from one address)")
                         .arg(m_burst.sent + 1)
                         .arg(m_burst.sent + m_burst.left);
            --m_burst.left;
            ++m_burst.sent;
            return r;
        }
    }
    if (m_streamDue) {
        m_streamDue = false;
        const int tester = m_maker.random().bounded(int(m_testers.size()));
        return m_maker.refusedStream(m_testers.at(tester).address);
    }
    for (qsizetype i = 0; i < m_followUps.size() && i < 8; ++i) {
        const FollowUp f = m_followUps.at(i);
        if (f.dueMs > now || m_testers.at(f.tester).busy)
            continue;
        m_followUps.removeAt(i);
        SoakRequest r = m_maker.upload(f.product, m_testers.at(f.tester).address, reusableWire(), f.itemId, uploadSize());
        r.tester = f.tester;
        if (f.retry) {
            r.kind = Kind::UploadRetry;
            r.what += QStringLiteral(" again");
        }
        return r;
    }
    return newRequest();
}

SoakRequest LoadGenerator::newRequest()
{
    int pick = m_maker.random().bounded(1000);
    Kind kind = Kind::LookupHit;
    for (const Share &share : kMix) {
        if (pick < share.perMille) {
            kind = share.kind;
            break;
        }
        pick -= share.perMille;
    }
    const int product = m_maker.random().bounded(int(m_options.products.size()));
    const int tester = freeTester(kind == Kind::AddItem);
    if (tester < 0)
        kind = Kind::Health; // every tester is busy: a request of nobody's
    const QString address = tester < 0 ? QString() : m_testers.at(tester).address;
    switch (kind) {
    case Kind::LookupHit: return m_maker.lookupHit(product, address, reusableWire());
    case Kind::LookupMiss: return m_maker.lookupMiss(address, reusableWire());
    case Kind::AddItem: {
        SoakRequest r = m_maker.addItem(product, address, reusableWire());
        r.tester = tester;
        return r;
    }
    case Kind::UploadOrphan:
        ++m_orphans;
        return m_maker.orphanUpload(product, QStringLiteral("10.240.%1.%2").arg(m_orphans / 250).arg(m_orphans % 250 + 1),
                                    reusableWire());
    case Kind::BadItem: return m_maker.badItem(address, reusableWire());
    case Kind::BadUpload: return m_maker.badUpload(address, reusableWire());
    case Kind::Oversized: return m_maker.oversized(address);
    case Kind::BadProtocol: return m_maker.badProtocol(address);
    case Kind::SlowClient: return m_maker.slowClient(address);
    case Kind::Abandoned: return m_maker.abandoned(address);
    default: return m_maker.health(reusableWire());
    }
}

void LoadGenerator::issue(SoakRequest request)
{
    HttpConnection *connection = nullptr;
    if (request.kind == Kind::Burst) {
        connection = m_burst.connection;
    } else if (request.wire == Wire::KeepAlive) {
        connection = m_connections.keepAlive();
        if (!connection) {
            // Every pooled connection is busy: this one goes on a fresh one.
            request.wire = Wire::FreshClose;
            request.bytes.insert(request.bytes.indexOf("\r\n\r\n") + 2, "Connection: close\r\n");
        }
    }
    if (!connection)
        connection = m_connections.fresh();
    if (connection->requestsSent() > 0)
        ++m_reusedRequests;
    if (request.tester >= 0)
        m_testers[request.tester].busy = true;
    if (request.kind == Kind::Upload || request.kind == Kind::UploadRetry || request.kind == Kind::UploadOrphan) {
        m_uploadedBytes += request.size;
        m_largestUpload = std::max(m_largestUpload, request.size);
    }
    m_sentBytes += request.bytes.size();
    const int abandonAfterMs = request.abandonAfterMs;
    connection->send(request.bytes);
    request.bytes.clear(); // on their way; uploads are large
    const QString connectionDescription = connectionText(connection, request.wire);
    InFlight flight{std::move(request), nowMs(), connectionDescription, {}};
    flight.clock.start();
    m_inFlight.insert(connection, std::move(flight));
    if (abandonAfterMs >= 0) {
        QTimer::singleShot(abandonAfterMs, connection, [this, connection] {
            const auto it = m_inFlight.find(connection);
            if (it == m_inFlight.end())
                return;
            m_stats.abandoned(it->request);
            m_inFlight.erase(it);
            m_connections.drop(connection);
        });
    }
}

void LoadGenerator::applyEffects(const SoakRequest &request, const HttpAnswer &answer)
{
    const QJsonObject o = QJsonDocument::fromJson(answer.body).object();
    const qint64 now = nowMs();
    QRandomGenerator &random = m_maker.random();
    if (request.kind == Kind::AddItem && answer.status == 200) {
        const QString id = o.value(QStringLiteral("id")).toString();
        m_items.append({id, request.client, m_options.products.at(request.product).id});
        if (random.generateDouble() < kUploadShare) {
            // The kit uploads once it has exported the report: soon, not at once.
            m_testers[request.tester].reserved = true;
            m_followUps.append({request.tester, request.product, id, now + random.bounded(1500), false});
        }
        return;
    }
    if (request.kind == Kind::Upload || request.kind == Kind::UploadRetry) {
        if (answer.status == 200 && o.value(QStringLiteral("item_id")).toString() == request.expectedItemId) {
            m_uploads.append({o.value(QStringLiteral("file_id")).toString(), request.expectedItemId, request.seed,
                              request.size});
        }
        if (answer.status == 200 && request.kind == Kind::Upload && random.generateDouble() < kRetryShare) {
            m_followUps.append({request.tester, request.product, request.expectedItemId, now + random.bounded(3000), true});
            return;
        }
        m_testers[request.tester].reserved = false;
        return;
    }
    if (request.kind == Kind::Burst && answer.status == 429)
        ++m_burst.limited;
}

void LoadGenerator::onAnswered(HttpConnection *connection, const HttpAnswer &answer)
{
    const auto it = m_inFlight.find(connection);
    if (it == m_inFlight.end())
        return;
    const InFlight flight = std::move(*it);
    m_inFlight.erase(it);
    const SoakRequest &request = flight.request;
    if (request.tester >= 0)
        m_testers[request.tester].busy = false;
    m_stats.answered(request, answer, flight.clock.nsecsElapsed() / 1e6, AnswerCheck::problem(request, answer), flight.connection);
    applyEffects(request, answer);
    if (request.kind == Kind::Burst && connection == m_burst.connection) {
        if (m_burst.left == 0 || !connection->reusable())
            endBurst();
    } else if (request.kind == Kind::Burst || request.wire != Wire::KeepAlive || !connection->reusable()) {
        QString what = request.what;
        if (!request.client.isEmpty())
            what += QStringLiteral(" from ") + request.client;
        m_connections.release(connection, what, answer.status);
    }
}

void LoadGenerator::onFailed(HttpConnection *connection, const QString &error)
{
    const auto it = m_inFlight.find(connection);
    if (it != m_inFlight.end()) {
        const InFlight flight = std::move(*it);
        m_inFlight.erase(it);
        if (flight.request.tester >= 0) {
            m_testers[flight.request.tester].busy = false;
            m_testers[flight.request.tester].reserved = false;
        }
        m_stats.transportError(flight.request, error, flight.clock.nsecsElapsed() / 1e6, flight.connection);
    }
    if (connection == m_burst.connection)
        endBurst();
    m_connections.drop(connection);
}

void LoadGenerator::endBurst()
{
    if (!m_burst.connection)
        return;
    // Within its burst and the refill of the time it took, an address may
    // ask; beyond that the relay must have said 429 at least once.
    const double seconds = double(nowMs() - m_burst.startMs) / 1000.0;
    const double allowed = m_options.limits.clientBurst + seconds * m_options.limits.clientRatePerMinute / 60.0;
    if (m_burst.limited > 0)
        ++m_burstsLimited;
    else if (m_burst.sent > allowed + 1)
        m_stats.anomaly(QStringLiteral("no 429 for %1 lookups from one address in %2 s (burst %3, %4 per minute)")
                            .arg(m_burst.sent)
                            .arg(seconds, 0, 'f', 1)
                            .arg(m_options.limits.clientBurst)
                            .arg(m_options.limits.clientRatePerMinute));
    HttpConnection *connection = m_burst.connection;
    m_burst = Burst{};
    if (!m_inFlight.contains(connection))
        m_connections.drop(connection);
}

void LoadGenerator::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    if (m_endMs == 0)
        m_endMs = nowMs();
    m_pacer.stop();
    m_rss.stop();
    for (auto it = m_inFlight.cbegin(); it != m_inFlight.cend(); ++it)
        m_stats.transportError(it->request, QStringLiteral("no answer by the end of the run"),
                               double(nowMs() - it->startMs), it->connection);
    m_inFlight.clear();
    m_verdict = RssVerdict::judge(m_rss.samples(), qint64(m_options.seconds) * 1000);
    Q_EMIT finished();
}

bool LoadGenerator::passed() const
{
    return m_stats.serverErrors() == 0 && m_stats.transportErrors() == 0 && m_stats.unexpected() == 0 && !m_relayGone
        && m_verdict.flat;
}

QString LoadGenerator::summary() const
{
    const double seconds = double(m_endMs - m_startMs) / 1000.0;
    const int requests = m_stats.requests();
    QString text;
    text += QStringLiteral("load: %1 requests in %2 s (%3/s; goal %4/s), %5 slots dropped while %6 requests were "
                           "in flight; %7 testers, %8 products\n")
                .arg(requests)
                .arg(seconds, 0, 'f', 0)
                .arg(requests / std::max(1.0, seconds), 0, 'f', 1)
                .arg(m_options.rate)
                .arg(m_droppedSlots)
                .arg(m_options.maxInFlight)
                .arg(m_options.testers)
                .arg(m_options.products.size());
    text += m_stats.report();
    text += QStringLiteral("connections: %1; %2 requests on a connection used before\n")
                .arg(m_connections.summary())
                .arg(m_reusedRequests);
    text += QStringLiteral("rate-limit bursts: %1, %2 of them answered with 429\n").arg(m_bursts).arg(m_burstsLimited);
    text += QStringLiteral("items created: %1; files stored: %2; files uploaded %3 MiB (largest %4 KiB, budget "
                           "%5 MiB); %6 MiB sent in all\n")
                .arg(m_items.size())
                .arg(m_uploads.size())
                .arg(m_uploadedBytes / 1048576.0, 0, 'f', 1)
                .arg(m_largestUpload / 1024)
                .arg(m_options.uploadBudgetBytes / 1048576)
                .arg(m_sentBytes / 1048576.0, 0, 'f', 1);
    text += QStringLiteral("relay memory (VmRSS): %1\n").arg(m_verdict.describe());
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double cpu = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    text += QStringLiteral("load generator: %1 s of CPU\n").arg(cpu, 0, 'f', 1);
    text += QStringLiteral("relay memory, highest per minute (MiB): %1\n").arg(m_rss.profile(60000));
    return text;
}

} // namespace soak
