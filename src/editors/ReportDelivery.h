// Sends a report to the Trello list or the monday board and tells the
// caller the outcome exactly once, on the GUI thread. The backend clients
// answer on the network thread, and stay silent when their configuration
// is missing; delivery therefore guards every step with a time-out of its
// own, and ignores any answer that arrives after the outcome is known.
#pragma once

#include "core/ShareMethod.h"
#include "editors/Report.h"
#include "tessivo_export.h"

#include <QByteArray>
#include <QObject>

#include <functional>

namespace tessivo {

class TESSIVO_EXPORT ReportDelivery
{
public:
    ReportDelivery() = delete;

    /// The monday service's name in the result texts.
    static constexpr const char *kMondayServiceName = "monday.com";

    using Outcome = std::function<void(bool succeeded)>;

    /// Creates the card, then uploads the attachment (the PNG of the image,
    /// the bytes of the file, or zero bytes when there is neither) and waits
    /// for it: an upload error is a failure. `context` owns the wait; when
    /// it is destroyed first, `outcome` never runs.
    static void toTrello(const Report &report, QObject *context, Outcome outcome);
    /// Adds the item, then starts the upload of the image or the file (when
    /// there is one) without waiting for it: the outcome is the item's.
    static void toMonday(const Report &report, QObject *context, Outcome outcome);

    /// "Shared!" or "Error!".
    static QString resultTitle(bool succeeded);
    /// "Your Tessivo was sent to Trello!", "Your Tessivo cannot be sent to
    /// monday.com!" and so on.
    static QString resultMessage(ShareMethod method, bool succeeded);

    /// How long each backend step may stay silent before it counts as a
    /// failure (seconds; a little over the clients' own 60-second request
    /// time-out by default).
    static double stepTimeout();
    static void setStepTimeout(double seconds);

    /// The attachment's bytes, read or encoded off the GUI thread; `done`
    /// runs on the GUI thread.
    static void loadAttachment(const Report &report, QObject *context,
                               std::function<void(QByteArray data)> done);
};

} // namespace tessivo
