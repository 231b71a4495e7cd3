// A host app in a dozen lines, built against the installed kit.
#include <Tessivo/Tessivo.h>

#include <QApplication>
#include <QLabel>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationVersion("1.0");
    QLabel window("Hello");
    window.show();
    tessivo::TessivoKit::shared().initialize(tessivo::TessivoKit::FeedbackGesture::shake, "Try it", false);
    tessivo::TessivoKit::shared().applicationDidBecomeActive();
    std::printf("Tessivo %d ready (%s)\n", static_cast<int>(TessivoVersionNumber),
                reinterpret_cast<const char *>(TessivoVersionString) + 4);
    return 0;
}
