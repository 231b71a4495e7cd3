// The URL session: HTTP data and upload tasks on a network thread of its
// own. Completions run on that thread, never on the GUI thread; callers that
// touch views or kit state hop to the main queue themselves.
#pragma once

#include "tessivo_export.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class QThread;

namespace tessivo {

/// Cache policies with their raw values.
enum class UrlRequestCachePolicy {
    useProtocolCachePolicy = 0,
    reloadIgnoringLocalCacheData = 1,
    returnCacheDataElseLoad = 2,
    returnCacheDataDontLoad = 3,
};

/// Strict URL parsing: text with characters a URL may not hold (a space,
/// for instance), or that does not parse, gives no URL.
TESSIVO_EXPORT std::optional<QUrl> urlFromString(const QString &text);

/// Percent-encodes a query item value the way URL components do, leaving
/// only unreserved characters as they are.
TESSIVO_EXPORT QString percentEncodedQueryValue(const QString &value);

struct TESSIVO_EXPORT UrlRequest {
    explicit UrlRequest(QUrl url = {}) : url(std::move(url)) {}

    QUrl url;
    UrlRequestCachePolicy cachePolicy = UrlRequestCachePolicy::useProtocolCachePolicy;
    double timeoutInterval = 60.0; // seconds
    QByteArray httpMethod = "GET";
    QList<QPair<QByteArray, QByteArray>> headers;
    std::optional<QByteArray> httpBody;

    void setValue(const QString &value, const QString &headerField);
    std::optional<QByteArray> value(const QByteArray &headerField) const;
};

struct TESSIVO_EXPORT UrlResponse {
    QUrl url;
    int statusCode = 0;
    QList<QPair<QByteArray, QByteArray>> headers;
    /// A one-line description for logs.
    QString description() const;
};

struct TESSIVO_EXPORT UrlError {
    int code = -1; // the platform's URL error codes (-1001 timed out, ...)
    QString localizedDescription;
    /// The error's default textual form, for example
    /// `Error Domain=URLErrorDomain Code=-1004 "Could not connect to the
    /// server."`. It never holds the request's URL (which may carry
    /// credentials in its query).
    QString description() const;
};

/// The default textual form of a task's three results, separated by single
/// spaces: "Optional(12 bytes)" or "nil", "Optional(<HTTPURLResponse ...>)"
/// or "nil", "Optional(Error Domain=...)" or "nil".
TESSIVO_EXPORT QString taskResultDescription(const std::optional<QByteArray> &data,
                                             const std::optional<UrlResponse> &response,
                                             const std::optional<UrlError> &error);

using DataTaskCompletion = std::function<void(std::optional<QByteArray> data,
                                              std::optional<UrlResponse> response,
                                              std::optional<UrlError> error)>;

class TESSIVO_EXPORT UrlSession : public std::enable_shared_from_this<UrlSession>
{
public:
    /// The shared session; its network thread starts on first use.
    static UrlSession &shared();
    /// A new session with the default configuration (its own connections,
    /// cookies and cache), like a session made per upload. Its completions
    /// run on the shared session's network thread. A session stays alive
    /// until its tasks have completed, even when the caller drops it.
    static std::shared_ptr<UrlSession> makeSession();
    ~UrlSession();

    /// Sends the request; the completion runs once, on the network thread.
    /// An answer with any HTTP status is a response, not an error.
    void dataTask(const UrlRequest &request, DataTaskCompletion completion);
    /// The same with `body` as the request's body.
    void uploadTask(const UrlRequest &request, const QByteArray &body,
                    DataTaskCompletion completion);

    /// The thread completions run on.
    QThread *thread() const;

private:
    struct SharedTag {};
    struct MadeTag {};
    explicit UrlSession(SharedTag);
    explicit UrlSession(MadeTag);
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace tessivo
