#include "host/client/task_log.h"

#include "host/progress_display.h"
#include "host/text.h"

#include "vesk_base/vesk_base.h"

namespace VESK::Host
{

namespace
{

thread_local TaskLog *threadLog = nullptr;

} // namespace

ClientLog::ClientLog(ProgressDisplay &display, bool verbose)
{
    VeskBase::setLogSink([&display, verbose](const VeskBase *, const QString &level, const QString &message) {
        if (threadLog)
            threadLog->take(level, message);
        const QString line = QStringLiteral("%1 %2\n").arg(level.leftJustified(7), escaped(message));
        if (verbose)
            display.print(line);
        else
            display.log(line);
    });
}

ClientLog::~ClientLog()
{
    VeskBase::setLogSink({});
}

TaskLog::TaskLog()
{
    threadLog = this;
}

TaskLog::~TaskLog()
{
    threadLog = nullptr;
}

void TaskLog::take(const QString &level, const QString &message)
{
    if (level == QLatin1String("error"))
        m_lastError = message.mid(message.indexOf(QLatin1String(": ")) + 2);
}

} // namespace VESK::Host
