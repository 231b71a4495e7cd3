#include "SoakStats.h"

#include <algorithm>

namespace soak {
namespace {

constexpr int kSamplesKept = 25;

QString describe(const SoakRequest &request, const QString &connection)
{
    QString text = request.what;
    if (!request.client.isEmpty())
        text += QStringLiteral(" from ") + request.client;
    return text + QStringLiteral(" on ") + connection;
}

QString percentile(QList<float> sorted, double p)
{
    if (sorted.isEmpty())
        return QStringLiteral("-");
    const qsizetype i = std::min<qsizetype>(sorted.size() - 1, qsizetype(p * double(sorted.size())));
    return QString::number(sorted.at(i), 'f', 2);
}

} // namespace

void SoakStats::keep(QStringList &samples, const QString &line)
{
    if (samples.size() < kSamplesKept)
        samples << line;
}

void SoakStats::answered(const SoakRequest &request, const HttpAnswer &answer, double ms, const QString &problem,
                         const QString &connection)
{
    PerKind &k = m_kinds[int(request.kind)];
    ++k.sent;
    ++k.statuses[answer.status];
    ++m_statuses[answer.status];
    k.latencies << float(ms);
    const QString body = QString::fromUtf8(answer.body.left(200));
    if (answer.status >= 500) {
        ++m_serverErrors;
        keep(m_serverErrorSamples, QStringLiteral("%1 after %2 ms: %3 %4")
                                       .arg(describe(request, connection)).arg(ms, 0, 'f', 1).arg(answer.status).arg(body));
    } else if (!problem.isEmpty()) {
        ++k.unexpected;
        ++m_unexpected;
        keep(m_unexpectedSamples, QStringLiteral("%1: %2 %3: %4")
                                      .arg(describe(request, connection)).arg(answer.status).arg(body, problem));
    }
}

void SoakStats::transportError(const SoakRequest &request, const QString &error, double ms, const QString &connection)
{
    PerKind &k = m_kinds[int(request.kind)];
    ++k.sent;
    ++k.transportErrors;
    ++m_transportErrors;
    keep(m_transportSamples,
         QStringLiteral("%1 after %2 ms: %3").arg(describe(request, connection)).arg(ms, 0, 'f', 1).arg(error));
}

void SoakStats::abandoned(const SoakRequest &request)
{
    ++m_kinds[int(request.kind)].sent;
}

void SoakStats::anomaly(const QString &text)
{
    ++m_unexpected;
    keep(m_unexpectedSamples, text);
}

int SoakStats::requests() const
{
    int n = 0;
    for (const PerKind &k : m_kinds)
        n += k.sent;
    return n;
}

QString SoakStats::report() const
{
    QString text;
    text += QStringLiteral("%1 %2 %3 %4 %5 %6  %7\n")
                .arg(QStringLiteral("kind"), -17)
                .arg(QStringLiteral("sent"), 7)
                .arg(QStringLiteral("p50 ms"), 8)
                .arg(QStringLiteral("p99 ms"), 8)
                .arg(QStringLiteral("max ms"), 8)
                .arg(QStringLiteral("faults"), 6)
                .arg(QStringLiteral("answers"));
    for (int i = 0; i < kKindCount; ++i) {
        const PerKind &k = m_kinds[i];
        QList<float> sorted = k.latencies;
        std::sort(sorted.begin(), sorted.end());
        QStringList answers;
        for (auto it = k.statuses.cbegin(); it != k.statuses.cend(); ++it)
            answers << QStringLiteral("%1×%2").arg(it.key()).arg(it.value());
        if (k.transportErrors)
            answers << QStringLiteral("no answer×%1").arg(k.transportErrors);
        if (Kind(i) == Kind::Abandoned)
            answers << QStringLiteral("left by the client×%1").arg(k.sent);
        int faults = k.transportErrors + k.unexpected;
        for (auto it = k.statuses.cbegin(); it != k.statuses.cend(); ++it)
            faults += it.key() >= 500 ? it.value() : 0;
        text += QStringLiteral("%1 %2 %3 %4 %5 %6  %7\n")
                    .arg(kindName(Kind(i)), -17)
                    .arg(k.sent, 7)
                    .arg(percentile(sorted, 0.50), 8)
                    .arg(percentile(sorted, 0.99), 8)
                    .arg(sorted.isEmpty() ? QStringLiteral("-") : QString::number(sorted.last(), 'f', 1), 8)
                    .arg(faults, 6)
                    .arg(answers.join(QLatin1Char(' ')));
    }
    QStringList statuses;
    for (auto it = m_statuses.cbegin(); it != m_statuses.cend(); ++it)
        statuses << QStringLiteral("%1: %2").arg(it.key()).arg(it.value());
    text += QStringLiteral("statuses: %1\n").arg(statuses.join(QStringLiteral(", ")));
    for (const QString &note : m_notes)
        text += note + QLatin1Char('\n');
    const auto section = [&text](const QString &title, int count, const QStringList &samples) {
        text += QStringLiteral("%1: %2\n").arg(title).arg(count == 0 ? QStringLiteral("none") : QString::number(count));
        for (const QString &s : samples)
            text += QStringLiteral("  ") + s + QLatin1Char('\n');
        if (count > samples.size())
            text += QStringLiteral("  ... and %1 more\n").arg(count - samples.size());
    };
    section(QStringLiteral("5xx answers"), m_serverErrors, m_serverErrorSamples);
    section(QStringLiteral("transport errors (no whole answer)"), m_transportErrors, m_transportSamples);
    section(QStringLiteral("unexpected answers and connection faults"), m_unexpected, m_unexpectedSamples);
    return text;
}

} // namespace soak
