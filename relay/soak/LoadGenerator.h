// The soak's load: simulated testers (each its own X-Forwarded-For address)
// look their app up, create items and upload files the way the kit does,
// mixed with the bad requests a public relay gets, at a steady bounded rate
// over keep-alive and fresh connections. Every answer is checked; the
// relay's memory is sampled throughout.
#pragma once

#include "ConnectionPool.h"
#include "RequestMaker.h"
#include "RssSampler.h"
#include "SoakStats.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>

namespace soak {

struct SoakOptions {
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = 0;
    QList<SoakProduct> products;
    qint64 relayPid = 0;
    int seconds = 600;
    double rate = 100;           // requests per second, steady
    int maxInFlight = 24;
    int testers = 300;
    int poolSize = 8;            // keep-alive connections
    qint64 uploadBudgetBytes = 180LL * 1024 * 1024;
    int sampleMs = 1000;
    quint64 seed = 1;
    RelayLimits limits;
};

/// An item or a file the relay confirmed, for the database check.
struct CreatedItem {
    QString id;
    QString client;
    QString productId;
};
struct StoredUpload {
    QString fileId;
    QString itemId;
    quint64 seed = 0;
    qint64 size = 0;
};

class LoadGenerator : public QObject
{
    Q_OBJECT
public:
    explicit LoadGenerator(SoakOptions options, QObject *parent = nullptr);

    void start();
    bool passed() const;
    QString summary() const;
    QList<CreatedItem> items() const { return m_items; }
    QList<StoredUpload> uploads() const { return m_uploads; }

Q_SIGNALS:
    void finished();

private:
    struct Tester {
        QString address;
        bool busy = false;
        bool reserved = false; // an upload of its latest item is due
    };
    struct FollowUp {
        int tester = -1;
        int product = -1;
        QString itemId;
        qint64 dueMs = 0;
        bool retry = false;
    };
    struct InFlight {
        SoakRequest request;
        qint64 startMs = 0;
        QString connection;
        QElapsedTimer clock; // the latency, finer than startMs
    };
    struct Burst {
        QPointer<HttpConnection> connection;
        QString address;
        int left = 0;
        int sent = 0;
        int limited = 0;
        qint64 startMs = 0;
    };

    void tick();
    void timedEvents(qint64 elapsedMs);
    std::optional<SoakRequest> next(qint64 now);
    SoakRequest newRequest();
    void issue(SoakRequest request);
    void onAnswered(HttpConnection *connection, const HttpAnswer &answer);
    void onFailed(HttpConnection *connection, const QString &error);
    void applyEffects(const SoakRequest &request, const HttpAnswer &answer);
    void endBurst();
    qint64 uploadSize();
    Wire reusableWire();
    int freeTester(bool forItem);
    void finish();

    SoakOptions m_options;
    RequestMaker m_maker;
    SoakStats m_stats;
    RssSampler m_rss;
    ConnectionPool m_connections;
    QTimer m_pacer;
    qint64 m_startMs = 0;
    qint64 m_lastTickMs = 0;
    qint64 m_endMs = 0;
    double m_tokens = 0;
    qint64 m_droppedSlots = 0;
    bool m_draining = false;
    bool m_finished = false;
    bool m_relayGone = false;

    QList<Tester> m_testers;
    QList<FollowUp> m_followUps;
    QHash<HttpConnection *, InFlight> m_inFlight;
    Burst m_burst;
    int m_bursts = 0;
    int m_burstsLimited = 0;
    qint64 m_nextBurstMs = 0;
    qint64 m_nextParkMs = 0;
    qint64 m_nextStreamMs = 0;
    bool m_streamDue = false;
    int m_orphans = 0;

    int m_reusedRequests = 0;
    qint64 m_uploadedBytes = 0;
    qint64 m_sentBytes = 0;
    qint64 m_largestUpload = 0;
    QList<CreatedItem> m_items;
    QList<StoredUpload> m_uploads;
    RssVerdict m_verdict;
};

} // namespace soak
