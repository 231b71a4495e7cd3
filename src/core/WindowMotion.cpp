#include "core/WindowMotion.h"

#include "core/TessivoKit.h"

#include <QCoreApplication>

namespace tessivo {

void windowMotionEnded(QWidget *, EventSubtype motion)
{
    if (motion != EventSubtype::motionShake)
        return;
    if (TessivoKit::shared().feedbackGesture != TessivoKit::FeedbackGesture::shake)
        return;
    TessivoKit::shared().startFeedback();
}

// Every window of the host gets the motion handling as soon as the
// application object exists, as a window extension would.
static void connectMotionSource()
{
    MotionSource &source = MotionSource::shared();
    static bool connected = false;
    if (!connected) {
        connected = true;
        QObject::connect(&source, &MotionSource::motionEnded, &source, &windowMotionEnded);
    }
    source.start();
}

} // namespace tessivo

namespace {
void tessivoConnectMotionSource()
{
    tessivo::connectMotionSource();
}
} // namespace
Q_COREAPP_STARTUP_FUNCTION(tessivoConnectMotionSource)
