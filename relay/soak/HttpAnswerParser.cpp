#include "HttpAnswerParser.h"

namespace soak {

QByteArray HttpAnswer::header(QByteArrayView name) const
{
    for (const auto &[key, value] : headers) {
        if (QByteArrayView(key).compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

bool HttpAnswer::closesConnection() const
{
    return header("Connection").trimmed().compare("close", Qt::CaseInsensitive) == 0;
}

HttpAnswerParser::State HttpAnswerParser::fail(const QString &error)
{
    m_error = error;
    return State::Malformed;
}

HttpAnswerParser::State HttpAnswerParser::feed(QByteArrayView bytes)
{
    if (!m_error.isEmpty())
        return State::Malformed;
    m_buffer.append(bytes);
    return parse();
}

HttpAnswerParser::State HttpAnswerParser::parse()
{
    if (m_complete)
        return State::Complete;
    while (!m_inBody) {
        const qsizetype end = m_buffer.indexOf("\r\n\r\n");
        if (end < 0) {
            if (m_buffer.size() > 64 * 1024)
                return fail(QStringLiteral("an answer head larger than 64 KiB"));
            return State::NeedMore;
        }
        const QByteArray head = m_buffer.left(end);
        m_buffer.remove(0, end + 4);
        const QList<QByteArray> lines = head.split('\n');
        const QList<QByteArray> statusLine = lines.first().trimmed().split(' ');
        bool ok = false;
        const int status = statusLine.value(1).toInt(&ok);
        if (!statusLine.first().startsWith("HTTP/1.") || !ok || status < 100 || status > 599)
            return fail(QStringLiteral("a malformed status line: %1").arg(QString::fromLatin1(lines.first().left(80))));
        if (status < 200) {
            ++m_interim; // 100 Continue and the like: the final answer follows
            continue;
        }
        m_answer = HttpAnswer{status, {}, {}};
        m_bodyLength = -1;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const QByteArray line = lines.at(i).trimmed();
            const qsizetype colon = line.indexOf(':');
            if (colon <= 0)
                return fail(QStringLiteral("a malformed header line"));
            const QByteArray name = line.left(colon).trimmed();
            const QByteArray value = line.mid(colon + 1).trimmed();
            m_answer.headers.append({name, value});
            if (name.compare("Content-Length", Qt::CaseInsensitive) == 0) {
                m_bodyLength = value.toLongLong(&ok);
                if (!ok || m_bodyLength < 0)
                    return fail(QStringLiteral("a malformed Content-Length"));
            } else if (name.compare("Transfer-Encoding", Qt::CaseInsensitive) == 0) {
                return fail(QStringLiteral("a chunked answer (the relay sends Content-Length)"));
            }
        }
        if (status == 204 || status == 304)
            m_bodyLength = 0;
        m_inBody = true;
    }
    if (m_bodyLength < 0 || m_buffer.size() < m_bodyLength)
        return State::NeedMore;
    m_answer.body = m_buffer.left(m_bodyLength);
    m_buffer.remove(0, m_bodyLength);
    m_complete = true;
    return State::Complete;
}

HttpAnswerParser::State HttpAnswerParser::finish()
{
    if (m_complete)
        return State::Complete;
    if (m_inBody && m_bodyLength < 0) {
        m_answer.body = m_buffer;
        m_buffer.clear();
        m_complete = true;
        return State::Complete;
    }
    if (m_inBody)
        return fail(QStringLiteral("the connection closed %1 bytes into a body of %2")
                        .arg(m_buffer.size())
                        .arg(m_bodyLength));
    return fail(m_buffer.isEmpty() ? QStringLiteral("the connection closed without an answer")
                                   : QStringLiteral("the connection closed inside an answer head"));
}

HttpAnswer HttpAnswerParser::take()
{
    HttpAnswer answer = std::move(m_answer);
    m_answer = {};
    m_inBody = false;
    m_complete = false;
    m_bodyLength = -1;
    return answer;
}

} // namespace soak
