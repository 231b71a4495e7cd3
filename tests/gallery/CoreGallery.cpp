#include "Gallery.h"

#include "core/TessivoKit.h"
#include "platform/Storyboard.h"
#include "platform/ViewController.h"

namespace tessivo::gallery {
namespace {

QWidget *presenting(const QString &identifier, QSize size, Appearance appearance)
{
    QWidget *window = hostWindow(size, appearance);
    window->resize(size);
    window->show();
    ViewController *screen = Storyboard::named("Main").instantiateViewController(identifier);
    ViewController::rootOf(window)->present(screen, false);
    return window;
}

const bool testingNotes = add({"TestingNotesViewController", QSize(390, 760), [](Appearance a) {
                                   TessivoKit::shared().feedbackGesture = TessivoKit::FeedbackGesture::shake;
                                   TessivoKit::shared().testingNotes =
                                       "This build adds the new checkout flow.\n\n"
                                       "• Try paying with a saved card and with a new one.\n"
                                       "• Rotate the device on the summary page.\n"
                                       "• Tell us anything that feels slow.";
                                   return presenting("testingNotesNavController", QSize(390, 760), a);
                               }});

const bool testingNotesWide = add({"TestingNotesViewController-fourFingers-desktop", QSize(1280, 800),
                                   [](Appearance a) {
                                       TessivoKit::shared().feedbackGesture =
                                           TessivoKit::FeedbackGesture::fourFingers;
                                       TessivoKit::shared().testingNotes.clear();
                                       return presenting("testingNotesNavController", QSize(1280, 800), a);
                                   }});

const bool selectOption = add({"SelectOptionViewController", QSize(390, 760), [](Appearance a) {
                                   return presenting("initialNavController", QSize(390, 760), a);
                               }});

} // namespace
} // namespace tessivo::gallery
