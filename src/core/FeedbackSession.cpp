// The trigger and open procedures of a feedback session.
#include "core/TessivoKit.h"

#include "core/TopMost.h"
#include "platform/Storyboard.h"
#include "platform/ViewController.h"

namespace tessivo {

void TessivoKit::startFeedback()
{
    runTriggerProcedure();
}

void TessivoKit::swipeGesture(GestureRecognizer *)
{
    runTriggerProcedure();
}

void TessivoKit::runTriggerProcedure()
{
    if (isRecording)
        stopProcedure();
    if (!navigationAlreadyStarted)
        openProcedure();
}

namespace {

void presentInitialNavigation(ViewController *presenter)
{
    if (!presenter)
        return;
    ViewController *initial = Storyboard::named(QStringLiteral("Main"))
                                  .instantiateViewController(QStringLiteral("initialNavController"));
    initial->setModalPresentationStyle(ModalPresentationStyle::overFullScreen);
    presenter->setDefinesPresentationContext(true);
    presenter->present(initial, true);
}

} // namespace

void TessivoKit::openProcedure()
{
    ViewController *top = topMostViewController();
    if (top && top->inherits("tessivo::TestingNotesViewController")) {
        // The testing notes give way to the capture choice, presented from
        // whatever is on top once they are gone.
        top->dismiss(false, [] { presentInitialNavigation(topMostViewController()); });
    } else {
        presentInitialNavigation(top);
    }
    // Set even when there was no presenter; the screens clear it on close.
    navigationAlreadyStarted = true;
}

void TessivoKit::stopProcedure()
{
    // Recording (and so stopping it) comes with the capture manager; until
    // it records, there is nothing to stop.
    isRecording = false;
}

void TessivoKit::startRecordingProcedure()
{
    // Recording arrives with the capture manager.
}

void TessivoKit::applicationDidBecomeActive()
{
    if (navigationAlreadyStarted)
        return;
    // First-run set-up and automatic recording come with the capture manager.
}

} // namespace tessivo
