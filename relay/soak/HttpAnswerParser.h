// Reads HTTP/1.1 answers from the bytes of one connection as they arrive:
// interim answers (100 Continue) are skipped, a body is delimited by its
// Content-Length, or by the close of the connection when there is none.
#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

namespace soak {

struct HttpAnswer {
    int status = 0;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    /// The value of the first header called `name` (any case), or empty.
    QByteArray header(QByteArrayView name) const;
    /// The server announced that it closes the connection after this answer.
    bool closesConnection() const;
};

class HttpAnswerParser
{
public:
    enum class State { NeedMore, Complete, Malformed };

    /// Adds bytes received; Complete once a final answer is whole (take it
    /// with take(); bytes after it stay, and idle() is false while they do).
    State feed(QByteArrayView bytes);
    /// The peer closed the connection: an answer without a Content-Length
    /// ends here; anything else unfinished is Malformed.
    State finish();
    HttpAnswer take();

    /// Nothing of an answer has arrived since the last take().
    bool idle() const { return m_buffer.isEmpty() && !m_inBody; }
    QString error() const { return m_error; }
    int interimAnswers() const { return m_interim; }

private:
    State parse();
    State fail(const QString &error);

    QByteArray m_buffer;
    HttpAnswer m_answer;
    bool m_inBody = false;
    bool m_complete = false;
    qint64 m_bodyLength = -1; // -1: until the connection closes
    int m_interim = 0;
    QString m_error;
};

} // namespace soak
