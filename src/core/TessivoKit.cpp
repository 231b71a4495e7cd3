#include "core/TessivoKit.h"

#include "capture/CaptureMananger.h"
#include "platform/Application.h"
#include "platform/Bundle.h"
#include "platform/SwipeGestureRecognizer.h"
#include "sharing/MondayManager.h"

namespace tessivo {

TessivoKit &TessivoKit::shared()
{
    // Never destroyed while the process runs.
    static TessivoKit *kit = new TessivoKit;
    return *kit;
}

TessivoKit::TessivoKit()
{
    m_captureManager = new CaptureMananger(this);
    m_fourFingersGesture = new SwipeGestureRecognizer(this);
    // A recording that stops by itself (the disk filled, a restart after a
    // segment failed) is no longer running.
    connect(m_captureManager, &CaptureMananger::captureInterrupted, this,
            [this](const MediaError &) { isRecording = false; });
}

TessivoKit::~TessivoKit() = default;

void TessivoKit::initialize(FeedbackGesture gesture, const QString &notes, bool hasWebGL,
                            std::shared_ptr<const Configs> options)
{
    // 1-2: the monday client and the product id lookup, not awaited.
    MondayManager::shared();
    const QString bundleId = Bundle::main().bundleIdentifier().value_or(QString());
    MondayManager::fetchProductId(bundleId, [](std::optional<QString> id) {
        if (id)
            TessivoKit::shared().setProductId(std::move(id));
    });
    // 3-6
    feedbackGesture = gesture;
    testingNotes = notes;
    if (options) {
        optionalConfigs = std::move(options);
        shareMethod = optionalConfigs->shareMethod();
    }
    useRecordingForScreenshot = hasWebGL;
    // 7
    installFourFingersGesture();
}

void TessivoKit::initialize(FeedbackGesture gesture, const QString &notes, bool hasWebGL,
                            const TrelloConfigs &options)
{
    initialize(gesture, notes, hasWebGL, std::make_shared<TrelloConfigs>(options));
}

void TessivoKit::installFourFingersGesture()
{
    QWidget *keyWindow = Application::keyWindow();
    if (!keyWindow || feedbackGesture != FeedbackGesture::fourFingers)
        return;
    if (GestureRecognizer::recognizers(keyWindow).contains(m_fourFingersGesture.data()))
        return;
    if (m_fourFingersGesture && m_fourFingersGesture->parent() == this)
        m_fourFingersGesture->deleteLater(); // the unattached one made by the constructor
    auto *swipe = new SwipeGestureRecognizer;
    swipe->addTarget(this, [this](GestureRecognizer *g) { swipeGesture(g); });
    m_fourFingersGesture = swipe;
    swipe->setDirection(SwipeGestureRecognizer::down);
    swipe->setDelegate(this);
    swipe->setNumberOfTouchesRequired(4);
    swipe->addTo(keyWindow);
}

bool TessivoKit::shouldRecognizeSimultaneously(GestureRecognizer *, GestureRecognizer *)
{
    return true;
}

std::optional<QString> TessivoKit::productId() const
{
    QMutexLocker lock(&m_productIdMutex);
    return m_productId;
}

void TessivoKit::setProductId(std::optional<QString> productId)
{
    QMutexLocker lock(&m_productIdMutex);
    m_productId = std::move(productId);
}

} // namespace tessivo
