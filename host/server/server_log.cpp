#include "host/server/server_log.h"

#include "host/text.h"

#include "vesk_base/vesk_base.h"

#include <atomic>

namespace VESK::Host
{

namespace
{

std::atomic<bool> showDebug{false};
thread_local QString threadClient;

} // namespace

void installServerLog(bool verbose)
{
    showDebug = verbose;
    VeskBase::setLogSink(
        [](const VeskBase *, const QString &level, const QString &message) { logServer(level, message); });
}

void logServer(const QString &level, const QString &message)
{
    if (level == QLatin1String("debug") && !showDebug)
        return;
    const QString client = threadClient.isEmpty() ? QStringLiteral("-") : threadClient;
    writeStderr(QStringLiteral("%1 %2 %3\n").arg(level.leftJustified(7), client, escaped(message)));
}

LoggedClient::LoggedClient(const QString &address)
{
    threadClient = address;
}

LoggedClient::~LoggedClient()
{
    threadClient.clear();
}

} // namespace VESK::Host
