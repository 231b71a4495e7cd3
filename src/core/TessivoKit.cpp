#include "core/TessivoKit.h"

#include "capture/CaptureMananger.h"
#include "platform/Application.h"
#include "platform/Bundle.h"
#include "platform/SwipeGestureRecognizer.h"
#include "platform/Dispatch.h"
#include "platform/PrivacyMask.h"
#include "platform/ViewController.h"
#include "sharing/MondayManager.h"

#include <QGuiApplication>
#include <QWindow>

namespace tessivo {
namespace {

// A window the kit opened: a dialog or popup whose parent sits in one of
// the kit's presented screens. Host windows never do.
bool isKitWindow(const QWidget *window)
{
    for (const QWidget *w = window; w; w = w->parentWidget()) {
        if (auto *controller = qobject_cast<const ViewController *>(w);
            controller && controller->presentingViewController())
            return true;
    }
    return false;
}

} // namespace

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
    // The latest configuration decides: a pending installation from an
    // earlier call is dropped.
    disconnect(m_keyWindowWatch);
    if (feedbackGesture != FeedbackGesture::fourFingers)
        return;
    QWidget *keyWindow = Application::keyWindow();
    if (!keyWindow || isKitWindow(keyWindow)) {
        // A desktop window becomes active some time after show(): the
        // recogniser goes on the first host window that does.
        installOnNextKeyWindow();
        return;
    }
    if (GestureRecognizer::recognizers(keyWindow).contains(m_fourFingersGesture.data()))
        return;
    addFourFingersGesture(keyWindow);
}

void TessivoKit::installOnNextKeyWindow()
{
    auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!app)
        return;
    m_keyWindowWatch = connect(app, &QGuiApplication::focusWindowChanged, this, [this] {
        QWidget *keyWindow = Application::keyWindow();
        if (!keyWindow || isKitWindow(keyWindow))
            return;
        disconnect(m_keyWindowWatch);
        addFourFingersGesture(keyWindow);
    });
}

void TessivoKit::addFourFingersGesture(QWidget *keyWindow)
{
    if (m_fourFingersGesture && m_fourFingersGesture->parent() == this)
        m_fourFingersGesture->deleteLater(); // the unattached one made by the constructor
    auto *swipe = new SwipeGestureRecognizer;
    swipe->addTarget(this, [this](GestureRecognizer *g) { swipeGesture(g); });
    m_fourFingersGesture = swipe;
    swipe->setDirection(SwipeGestureRecognizer::down);
    swipe->setDelegate(this);
    swipe->setNumberOfTouchesRequired(4);
    swipe->addTo(keyWindow);
    // The recogniser stays on this window; should the window be destroyed,
    // the next key window gets the current one.
    connect(swipe, &QObject::destroyed, this, [this] {
        dispatchMain([this] {
            if (!m_fourFingersGesture && feedbackGesture == FeedbackGesture::fourFingers)
                installFourFingersGesture();
        });
    });
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

void TessivoKit::setPrivate(QObject *view, bool isPrivate)
{
    PrivacyMask::setPrivate(view, isPrivate);
}

} // namespace tessivo
