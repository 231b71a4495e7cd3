#include "RssSampler.h"

#include "HttpConnection.h"

#include <QFile>

#include <algorithm>

namespace soak {

RssVerdict RssVerdict::judge(const QList<RssSample> &samples, qint64 runMs, double limit)
{
    RssVerdict v;
    v.limit = limit;
    v.windowMs = windowFor(runMs);
    QList<qint64> warm;
    QList<qint64> end;
    for (const RssSample &s : samples) {
        v.maxKib = std::max(v.maxKib, s.kib);
        v.lastKib = s.kib;
        if (s.atMs >= v.windowMs / 2 && s.atMs <= v.windowMs)
            warm << s.kib;
        if (s.atMs >= runMs - v.windowMs)
            end << s.kib;
    }
    if (warm.size() < 3 || end.size() < 3) {
        v.problem = QStringLiteral("too few memory samples (%1 after the warm-up, %2 at the end)")
                        .arg(warm.size())
                        .arg(end.size());
        return v;
    }
    const auto median = [](QList<qint64> values) {
        std::sort(values.begin(), values.end());
        return values.at(values.size() / 2);
    };
    v.baselineKib = median(warm);
    v.endKib = median(end);
    v.ratio = double(v.endKib) / double(v.baselineKib);
    v.flat = v.ratio <= 1.0 + limit;
    return v;
}

QString RssVerdict::describe() const
{
    const auto mib = [](qint64 kib) { return QString::number(kib / 1024.0, 'f', 1) + QStringLiteral(" MiB"); };
    const auto seconds = [](qint64 ms) { return QString::number(ms / 1000.0, 'f', 0); };
    QString text = QStringLiteral("baseline %1 (median of %2-%3 s), end %4 (median of the last %3 s), "
                                  "max %5, last %6")
                       .arg(mib(baselineKib), seconds(windowMs / 2), seconds(windowMs), mib(endKib), mib(maxKib),
                            mib(lastKib));
    if (!problem.isEmpty())
        return text + QStringLiteral("; no verdict: ") + problem;
    return text + QStringLiteral("; end/baseline %1 (limit %2): %3")
                      .arg(QString::number(ratio, 'f', 3), QString::number(1.0 + limit, 'f', 2),
                           flat ? QStringLiteral("flat") : QStringLiteral("GROWING"));
}

RssSampler::RssSampler(qint64 pid, int intervalMs, QObject *parent) : QObject(parent), m_pid(pid)
{
    m_timer.setInterval(intervalMs);
    connect(&m_timer, &QTimer::timeout, this, &RssSampler::sample);
}

std::optional<qint64> RssSampler::readRssKib(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            bool ok = false;
            const qint64 kib = line.mid(6).trimmed().split(' ').value(0).toLongLong(&ok);
            if (ok)
                return kib;
        }
    }
    return std::nullopt; // a zombie has no VmRSS line
}

void RssSampler::start()
{
    m_startMs = nowMs();
    m_samples.clear();
    sample();
    m_timer.start();
}

void RssSampler::stop()
{
    if (m_timer.isActive())
        sample();
    m_timer.stop();
}

void RssSampler::sample()
{
    const std::optional<qint64> kib = readRssKib(m_pid);
    if (!kib) {
        m_timer.stop();
        Q_EMIT processGone();
        return;
    }
    m_samples.append({nowMs() - m_startMs, *kib});
}

QString RssSampler::profile(qint64 bucketMs) const
{
    QList<qint64> highest;
    for (const RssSample &s : m_samples) {
        const qsizetype bucket = qsizetype(s.atMs / bucketMs);
        if (highest.size() <= bucket)
            highest.resize(bucket + 1, 0);
        highest[bucket] = std::max(highest[bucket], s.kib);
    }
    QStringList parts;
    for (const qint64 kib : highest)
        parts << QString::number(kib / 1024.0, 'f', 1);
    return parts.join(QLatin1Char(' '));
}

} // namespace soak
