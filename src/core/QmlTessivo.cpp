// The kit as QML sees it: the `Tessivo` singleton of the `Tessivo` module,
// registered for every QML engine of a host when the kit is built with
// Qt Quick, so that a QML-only host can start a session:
//
//     import Tessivo
//     Button { onClicked: Tessivo.startFeedback() }
#ifdef TESSIVO_HAS_QUICK
#include "core/TessivoKit.h"

#include <QCoreApplication>
#include <QQmlEngine>

namespace tessivo {
namespace {

class QmlTessivo : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    /// Runs the trigger procedure, as a shake or the host's C++ call does.
    Q_INVOKABLE void startFeedback() { TessivoKit::shared().startFeedback(); }
};

void registerQmlTessivo()
{
    // One instance per engine, owned by that engine.
    qmlRegisterSingletonType<QmlTessivo>("Tessivo", 1, 0, "Tessivo",
                                         [](QQmlEngine *, QJSEngine *) -> QObject * {
                                             return new QmlTessivo;
                                         });
}

} // namespace
} // namespace tessivo

namespace {
void tessivoRegisterQml()
{
    tessivo::registerQmlTessivo();
}
} // namespace
Q_COREAPP_STARTUP_FUNCTION(tessivoRegisterQml)

#include "QmlTessivo.moc"
#endif
