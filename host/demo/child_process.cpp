#include "host/demo/child_process.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>

#include <sys/prctl.h>

#include <csignal>

namespace VESK::Host
{

namespace
{

constexpr int lineLimitMs = 10000;
constexpr int endLimitMs = 10000;

} // namespace

ChildProcess::ChildProcess(const QString &module, const QStringList &arguments)
{
    QStringList all;
    if (!module.isEmpty())
        all << QStringLiteral("--module") << module;
    all << arguments << QStringLiteral("--no-verify-cache"); // a demonstration leaves nothing behind
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
