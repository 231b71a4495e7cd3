// The HTTP engine under a URL session: libcurl transfers driven by the event
// loop of the thread this object lives on (socket notifiers and a timer), so
// that completions run on that thread.
//
// A request that is not safe to repeat (anything but GET, HEAD, OPTIONS) goes
// out once, on a connection of its own that is closed afterwards: a server
// that hangs up before answering makes it a transport error, never a resent
// request. The request's bytes are those the session has always sent: the
// same header lines in the same order, no "Expect" or "Accept" of curl's own.
#pragma once

#include "platform/UrlSession.h"

#include <QObject>

#include <memory>

namespace tessivo {

class HttpTransfers : public QObject
{
public:
    explicit HttpTransfers(QObject *parent = nullptr);
    /// Transfers still running are dropped; their completions never run.
    ~HttpTransfers() override;

    /// Starts the request; call on this object's thread. The completion runs
    /// once, on that thread, after redirects have been followed.
    void start(const UrlRequest &request, DataTaskCompletion completion);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace tessivo
