// What the soak saw: requests and answers per kind, latencies, and every
// fault with the request that caused it.
#pragma once

#include "HttpAnswerParser.h"
#include "SoakRequest.h"

#include <QList>
#include <QMap>
#include <QStringList>

namespace soak {

class SoakStats
{
public:
    /// An answer; `problem` is empty when it is one the request allows.
    void answered(const SoakRequest &request, const HttpAnswer &answer, double ms, const QString &problem,
                  const QString &connection);
    /// No (whole) answer arrived.
    void transportError(const SoakRequest &request, const QString &error, double ms, const QString &connection);
    /// A request the client gave up on purpose.
    void abandoned(const SoakRequest &request);
    /// A fault not tied to one answer (a connection the relay did not close, bytes nobody asked for).
    void anomaly(const QString &text);
    /// Something worth a line in the report that is not a fault.
    void note(const QString &text) { m_notes << text; }

    int requests() const;
    int serverErrors() const { return m_serverErrors; }
    int transportErrors() const { return m_transportErrors; }
    int unexpected() const { return m_unexpected; }
    int statusCount(int status) const { return m_statuses.value(status); }

    /// The table per kind, the status counts and the faults.
    QString report() const;

private:
    struct PerKind {
        int sent = 0;
        QMap<int, int> statuses;
        int transportErrors = 0;
        int unexpected = 0;
        QList<float> latencies;
    };
    static void keep(QStringList &samples, const QString &line);

    PerKind m_kinds[kKindCount];
    QMap<int, int> m_statuses;
    int m_serverErrors = 0;
    int m_transportErrors = 0;
    int m_unexpected = 0;
    QStringList m_serverErrorSamples;
    QStringList m_transportSamples;
    QStringList m_unexpectedSamples;
    QStringList m_notes;
};

} // namespace soak
