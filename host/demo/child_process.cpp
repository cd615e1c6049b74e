#include "host/demo/child_process.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QProcessEnvironment>

#include <sys/prctl.h>

#include <csignal>

namespace VESK::Host
{

namespace
{

constexpr int lineLimitMs = 10000;
constexpr int endLimitMs = 10000;

// Without the caller's settings: they are made for other servers than the one of this machine.
QProcessEnvironment plainEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QStringList names = environment.keys();
    for (const QString &name : names) {
        if (name.startsWith(QLatin1String("VESK_")) && name != QLatin1String("VESK_MODULE"))
            environment.remove(name);
    }
    environment.insert(QStringLiteral("VESK_CONFIG"), QStringLiteral("/dev/null"));
    return environment;
}

} // namespace

ChildProcess::ChildProcess(const QString &module, const QStringList &arguments)
{
    QStringList all;
    if (!module.isEmpty())
        all << QStringLiteral("--module") << module;
    all << arguments << QStringLiteral("--no-verify-cache"); // a demonstration leaves nothing behind
    setProcessEnvironment(plainEnvironment());
    start(QCoreApplication::applicationFilePath(), all);
    (void)waitForStarted(endLimitMs); // isRunning() tells
}

ChildProcess::~ChildProcess()
{
    if (isRunning())
        killNow();
}

QString ChildProcess::waitForLine(const QString &start)
{
    setReadChannel(StandardError);
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < lineLimitMs) {
        while (canReadLine()) {
            const QString line = QString::fromUtf8(readLine()).trimmed();
            if (line.startsWith(start))
                return line;
        }
        if (!waitForReadyRead(lineLimitMs))
            break;
    }
    return QString();
}

void ChildProcess::killNow()
{
    kill();
    (void)waitForFinished(endLimitMs); // nothing survives SIGKILL for long
}

void ChildProcess::setupChildProcess()
{
    (void)::prctl(PR_SET_PDEATHSIG, SIGKILL); // only for the parent that dies too early to clean up
}

} // namespace VESK::Host
