#include "host/client/task_log.h"

#include "host/text.h"

#include "vesk_base/vesk_base.h"

namespace VESK::Host
{

namespace
{

thread_local TaskLog *threadLog = nullptr;

} // namespace

void installClientLog(bool verbose)
{
    VeskBase::setLogSink([verbose](const VeskBase *, const QString &level, const QString &message) {
        if (threadLog)
            threadLog->take(level, message);
        if (verbose)
            writeStderr(QStringLiteral("%1 %2\n").arg(level.leftJustified(7), escaped(message)));
    });
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
