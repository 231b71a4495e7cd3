// POSTs to an upstream API (monday) with libcurl, each on a worker thread and
// on a connection of its own that is closed afterwards: a request the server
// hangs up on is reported, never sent again. The answer comes back on the
// thread that owns the client. The time-out is idle time without progress.
#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>
#include <QString>
#include <QThreadPool>

#include <atomic>
#include <functional>

namespace relay {

struct UpstreamAnswer {
    enum class Failure { none, timedOut, unreachable };
    Failure failure = Failure::none;
    int status = 0;   // the HTTP status when an answer came
    QByteArray body;
    QString error;    // on failure: what went wrong, for the log
};

class UpstreamClient : public QObject
{
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    explicit UpstreamClient(int timeoutMs, QObject *parent = nullptr);
    /// Aborts the posts in flight; their completions are not called.
    ~UpstreamClient() override;

    void post(const QString &url, const Headers &headers, const QByteArray &body,
              std::function<void(UpstreamAnswer)> done);

private:
    UpstreamAnswer perform(const QString &url, const Headers &headers, const QByteArray &body) const;

    int m_timeoutMs;
    std::atomic_bool m_stopping{false};
    QThreadPool m_pool;
};

} // namespace relay
