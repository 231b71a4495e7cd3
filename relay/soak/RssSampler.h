// The relay's resident memory (VmRSS of /proc/<pid>/status), sampled at a
// steady interval while the load runs, and the verdict on it.
#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <algorithm>
#include <optional>

namespace soak {

struct RssSample {
    qint64 atMs = 0; // since the load began
    qint64 kib = 0;
};

/// "Flat within 10 %": the baseline is the median RSS sampled in the second
/// half of the warm-up (the first minute, or the first fifth of a run
/// shorter than five minutes), when the relay has started, seen every kind
/// of request, and filled its caches and the allocator's pools. The end is
/// the median RSS sampled in an equally long window at the end of the run.
/// The memory is flat when end <= baseline * (1 + limit).
///
/// Medians, not maxima: how high one sample is depends on how many large
/// requests happen to be in flight at that second, and with the CPUs busy
/// (a build beside the soak) that varies by more than the limit: one such
/// run had per-minute highs from 23.2 to 25.6 MiB over a flat floor. Memory
/// that stays, a leak or pages the allocator keeps, moves the median as
/// much as the maximum.
struct RssVerdict {
    qint64 windowMs = 0;
    qint64 baselineKib = 0;
    qint64 endKib = 0;
    qint64 maxKib = 0;
    qint64 lastKib = 0;
    double limit = 0.10;
    double ratio = 0;   // endKib / baselineKib
    bool flat = false;
    QString problem;    // set when there is no verdict (too few samples)

    static RssVerdict judge(const QList<RssSample> &samples, qint64 runMs, double limit = 0.10);
    /// The length of the warm-up and of the end window of a run.
    static qint64 windowFor(qint64 runMs) { return std::min<qint64>(60000, runMs / 5); }
    QString describe() const;
};

class RssSampler : public QObject
{
    Q_OBJECT
public:
    RssSampler(qint64 pid, int intervalMs, QObject *parent = nullptr);

    /// Samples now and every interval from now on; times count from here.
    void start();
    /// Takes a last sample and stops.
    void stop();
    QList<RssSample> samples() const { return m_samples; }
    /// The highest value in each `bucketMs` slice of the run, in MiB.
    QString profile(qint64 bucketMs) const;

    static std::optional<qint64> readRssKib(qint64 pid);

Q_SIGNALS:
    /// /proc/<pid>/status could not be read: the process has gone.
    void processGone();

private:
    void sample();

    qint64 m_pid;
    qint64 m_startMs = 0;
    QTimer m_timer;
    QList<RssSample> m_samples;
};

} // namespace soak
