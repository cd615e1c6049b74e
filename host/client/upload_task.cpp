#include "host/client/upload_task.h"

#include "host/client/task_log.h"
#include "host/client/upload_verdict.h"
#include "host/text.h"
#include "host/version.h"

#include <mutex>
#include <optional>

namespace VESK::Host
{

namespace
{

QString addressText(const std::int64_t &counter)
{
    return QString::number(reinterpret_cast<quintptr>(&counter));
}

void configure(VeskBase &handler, const UploadJob &job, UDTSOCKET socket, const TaskCounters &counters)
{
    const ParamMap params = {
        {QStringLiteral("endPoint"), QStringLiteral("client")},
        {QStringLiteral("operator"), QStringLiteral("upload")},
        {QStringLiteral("clientSocket"), QString::number(socket)},
        {QStringLiteral("total"), addressText(counters.total)},
        {QStringLiteral("offset"), addressText(counters.done)},
        {QStringLiteral("srcPath"), job.directory},
        {QStringLiteral("fileName"), job.fileName},
        // As the root, so that the server sets no modes above the directory that was named.
        {QStringLiteral("rootPath"), job.remoteDirectory},
        {QStringLiteral("destPath"), QString()},
        {QStringLiteral("appKey"), job.share},
        {QStringLiteral("appVersion"), programVersion()},
        {QStringLiteral("userName"), job.userName},
        {QStringLiteral("bVerify"), job.verifyMode},
        {QStringLiteral("bReplace"), QStringLiteral("false")},
    };
    (void)handler.setParams(params); // a host's own map is never refused
}

// Stops the task for a later resume. The client's handler leaves its socket open, in which a bulk call
// may be blocked. How far it got is read first: a closed socket no longer tells what is unsent.
void stopTask(VeskBase &handler, UDTSOCKET socket, const TaskCounters &counters,
              std::optional<CounterReading> *reading)
{
    if (!reading->has_value())
        *reading = readCounters(counters, socket);
    (void)handler.pause(); // it fails only without a socket
    (void)UDT::close(socket);
}

} // namespace

UploadTask::UploadTask(const Module &module, ProgressDisplay &display, Interruption &interruption,
                       double stallSeconds)
    : m_module(module)
    , m_display(display)
    , m_interruption(interruption)
    , m_stallSeconds(stallSeconds)
{
}

UploadOutcome UploadTask::run(const UploadJob &job, UDTSOCKET socket)
{
    TaskCounters counters;
    TaskFacts facts;
    const Module::Handler handler = m_module.createHandler();
    configure(*handler, job, socket, counters);
    std::mutex stopMutex; // a signal and the monitor may stop the task at the same time
    std::optional<CounterReading> readingAtStop;
    const auto stop = [&] {
        const std::lock_guard<std::mutex> lock(stopMutex);
        stopTask(*handler, socket, counters, &readingAtStop);
    };
    {
        const TaskLog log;
        const Interruption::StopAction onSignal(m_interruption, stop);
        const auto giveUp = [&](const QString &why) {
            facts.gaveUpBecause = why;
            stop();
        };
        const TaskMonitor monitor({escaped(job.fileName), socket, counters, m_stallSeconds, giveUp},
                                  m_display);
        facts.succeeded = handler->process();
        facts.lastLogError = log.lastError();
        facts.reading = readCounters(counters, socket);
        facts.connectionIsUp = UDT::getsockstate(socket) == CONNECTED;
    }
    facts.interrupted = m_interruption.signal() != 0;
    if (readingAtStop)
        facts.reading = *readingAtStop;
    facts.lastError = handler->getLastError();
    facts.begin = handler->getParam(QStringLiteral("transferBeginSize"));
    facts.end = handler->getParam(QStringLiteral("transferEndSize"));
    return judge(facts);
}

} // namespace VESK::Host
