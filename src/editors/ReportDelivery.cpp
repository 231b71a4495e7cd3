#include "editors/ReportDelivery.h"

#include "core/Configs.h"
#include "core/TessivoKit.h"
#include "platform/Console.h"
#include "platform/Dispatch.h"
#include "platform/PngEncoder.h"
#include "sharing/MondayManager.h"
#include "sharing/TrelloManager.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>
#include <QThreadPool>
#include <QTimer>

#include <memory>

namespace tessivo {
namespace {

double &timeoutSeconds()
{
    static double seconds = 65.0;
    return seconds;
}

/// One delivery's outcome: reported once, on the GUI thread, while the
/// context lives. Steps arm a watchdog that reports a failure when the
/// backend never answers.
class Attempt : public std::enable_shared_from_this<Attempt>
{
public:
    Attempt(QObject *context, ReportDelivery::Outcome outcome)
        : m_context(context), m_outcome(std::move(outcome))
    {
    }

    bool isFinished() const { return m_finished; }

    void finish(bool succeeded)
    {
        if (m_finished)
            return;
        m_finished = true;
        dropWatchdog();
        if (m_context && m_outcome)
            m_outcome(succeeded);
    }

    /// Arms the watchdog for the next step (replacing the previous one).
    void armWatchdog(const QString &step)
    {
        dropWatchdog();
        if (!m_context)
            return;
        m_watchdog = new QTimer(m_context);
        m_watchdog->setSingleShot(true);
        // The watchdog keeps the attempt alive: a client that never calls
        // back drops its completion, and with it every other reference.
        QObject::connect(m_watchdog, &QTimer::timeout, m_context, [self = shared_from_this(), step] {
            if (!self->isFinished()) {
                consolePrint(step + QStringLiteral(" got no answer in time"));
                self->finish(false);
            }
        });
        m_watchdog->start(qRound(ReportDelivery::stepTimeout() * 1000));
    }

    /// Runs `work` on the GUI thread unless the outcome is already known.
    void onMain(std::function<void()> work)
    {
        dispatchMain([self = shared_from_this(), work = std::move(work)] {
            if (!self->isFinished() && self->m_context)
                work();
        });
    }

private:
    // Later, not now: this may run inside the timer's own signal.
    void dropWatchdog()
    {
        if (m_watchdog) {
            m_watchdog->stop();
            m_watchdog->deleteLater();
        }
        m_watchdog.clear();
    }

    QPointer<QObject> m_context;
    ReportDelivery::Outcome m_outcome;
    QPointer<QTimer> m_watchdog;
    bool m_finished = false;
};

QByteArray encodePng(const QImage &image)
{
    return PngEncoder::encode(image);
}

} // namespace

double ReportDelivery::stepTimeout()
{
    return timeoutSeconds();
}

void ReportDelivery::setStepTimeout(double seconds)
{
    timeoutSeconds() = seconds;
}

QString ReportDelivery::resultTitle(bool succeeded)
{
    return succeeded ? QStringLiteral("Shared!") : QStringLiteral("Error!");
}

QString ReportDelivery::resultMessage(ShareMethod method, bool succeeded)
{
    const QString destination = method == ShareMethod::monday ? QString::fromLatin1(kMondayServiceName)
                                                              : QStringLiteral("Trello");
    return (succeeded ? QStringLiteral("Your Tessivo was sent to ")
                      : QStringLiteral("Your Tessivo cannot be sent to "))
        + destination + QLatin1Char('!');
}

void ReportDelivery::loadAttachment(const Report &report, QObject *context,
                                    std::function<void(QByteArray)> done)
{
    QPointer<QObject> guard(context);
    const std::optional<QImage> image = report.image;
    const std::optional<QUrl> fileURL = report.fileURL;
    QThreadPool::globalInstance()->start([guard, image, fileURL, done = std::move(done)] {
        QByteArray data;
        if (image && !image->isNull()) {
            data = encodePng(*image);
        } else if (fileURL) {
            QFile file(fileURL->toLocalFile());
            if (file.open(QIODevice::ReadOnly))
                data = file.readAll();
            else
                consolePrint(QStringLiteral("Cannot read ") + fileURL->toLocalFile());
        }
        dispatchMain([guard, data, done] {
            if (guard)
                done(data);
        });
    });
}

void ReportDelivery::toTrello(const Report &report, QObject *context, Outcome outcome)
{
    auto attempt = std::make_shared<Attempt>(context, std::move(outcome));
    const auto configs = TessivoKit::shared().optionalConfigs;
    if (!dynamic_cast<const TrelloConfigs *>(configs.get())) {
        // The client would stay silent: no request can go out.
        consolePrint(QStringLiteral("Trello is not configured"));
        return attempt->onMain([attempt] { attempt->finish(false); });
    }
    attempt->armWatchdog(QStringLiteral("Trello card"));
    TrelloManager::createCard(
        report.summary, report.details, configs, [attempt, report, context, configs](std::optional<QString> cardId) {
            attempt->onMain([attempt, report, context, configs, cardId] {
                if (!cardId)
                    return attempt->finish(false);
                attempt->armWatchdog(QStringLiteral("Trello attachment"));
                loadAttachment(report, context, [attempt, report, configs, cardId](QByteArray data) {
                    if (attempt->isFinished())
                        return;
                    TrelloManager::uploadAttachment(*cardId, data, report.fileName, configs,
                                                    [attempt](std::optional<UrlError> error) {
                                                        attempt->onMain([attempt, error] {
                                                            attempt->finish(!error);
                                                        });
                                                    });
                });
            });
        });
}

void ReportDelivery::toMonday(const Report &report, QObject *context, Outcome outcome)
{
    auto attempt = std::make_shared<Attempt>(context, std::move(outcome));
    if (!TessivoKit::shared().productId()) {
        // The client would stay silent: the relay has not named the product.
        consolePrint(QStringLiteral("The monday product id is not known"));
        return attempt->onMain([attempt] { attempt->finish(false); });
    }
    attempt->armWatchdog(QStringLiteral("monday item"));
    MondayManager::addItem(report.summary, [attempt, report](std::optional<QString> itemId) {
        attempt->onMain([attempt, report, itemId] {
            if (!itemId)
                return attempt->finish(false);
            if (report.hasAttachment()) {
                const bool isImage = report.image && !report.image->isNull();
                // The upload outlives the editor, which may close right away.
                loadAttachment(report, qApp, [isImage](QByteArray data) {
                    if (isImage)
                        MondayManager::uploadImage(data);
                    else
                        MondayManager::uploadVideo(data);
                });
            }
            attempt->finish(true);
        });
    });
}

} // namespace tessivo
