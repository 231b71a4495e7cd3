#include "XdoTool.h"

#include <QProcess>
#include <QProcessEnvironment>

namespace {

QStringList moveTo(QPoint to)
{
    return {QStringLiteral("mousemove"), QString::number(to.x()), QString::number(to.y())};
}

QStringList pause(double seconds)
{
    return {QStringLiteral("sleep"), QString::number(seconds)};
}

} // namespace

XdoTool::XdoTool(QString program, QString display) : m_program(std::move(program)), m_display(std::move(display))
{
}

bool XdoTool::run(const QStringList &arguments)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DISPLAY"), m_display);
    process.setProcessEnvironment(env);
    process.start(m_program, arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        m_error = QStringLiteral("xdotool %1 failed: %2 %3")
                      .arg(arguments.join(QLatin1Char(' ')), process.errorString(),
                           QString::fromUtf8(process.readAllStandardError()).trimmed());
        return false;
    }
    return true;
}

bool XdoTool::move(QPoint to)
{
    return run(moveTo(to) + pause(0.1));
}

bool XdoTool::click(QPoint at)
{
    // The pointer rests on the target before the press, as a hand's would.
    return run(moveTo(at) + pause(0.15) + QStringList{QStringLiteral("click"), QStringLiteral("1")} + pause(0.1));
}

bool XdoTool::drag(const QList<QPoint> &path)
{
    if (path.isEmpty())
        return false;
    QStringList args = moveTo(path.first()) + pause(0.15) + QStringList{QStringLiteral("mousedown"), QStringLiteral("1")}
        + pause(0.1);
    for (qsizetype i = 1; i < path.size(); ++i)
        args += moveTo(path.at(i)) + pause(0.03);
    args += pause(0.1) + QStringList{QStringLiteral("mouseup"), QStringLiteral("1")} + pause(0.1);
    return run(args);
}

bool XdoTool::key(const QString &combination)
{
    return run({QStringLiteral("key"), QStringLiteral("--delay"), QStringLiteral("60"), combination});
}

bool XdoTool::type(const QString &text)
{
    return run({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("40"), QStringLiteral("--"), text});
}

bool XdoTool::pointerShake(QPoint centre)
{
    // Six legs of 200 pixels, each in four steps as a hand makes them:
    // five turns in about 0.8 s.
    constexpr int kHalf = 100;
    constexpr int kSteps = 4;
    QStringList args = moveTo(centre - QPoint(kHalf, 0)) + pause(0.3);
    int side = 1;
    for (int leg = 0; leg < 6; ++leg, side = -side) {
        for (int step = 1; step <= kSteps; ++step)
            args += moveTo(centre + QPoint(side * (-kHalf + 2 * kHalf * step / kSteps), 0)) + pause(0.03);
    }
    return run(args);
}
