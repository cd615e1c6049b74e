#include "host/client/task_runner.h"

#include "host/client/run_meter.h"
#include "host/client/task_log.h"
#include "host/client/task_verdict.h"
#include "host/task_wishes.h"
#include "host/text.h"
#include "host/version.h"

#include "vesk_base/message_channel.h"
#include "vesk_base/message_kind.h"
#include "vesk_base/paths.h"

#include <QtCore/QFileInfo>

#include <chrono>
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

QString operationName(Operation operation)
{
    switch (operation) {
    case Operation::Upload:
        return QStringLiteral("upload");
    case Operation::Download:
        return QStringLiteral("download");
    case Operation::List:
        return QStringLiteral("list");
    case Operation::CreateDir:
        break;
    }
    return QStringLiteral("createDir");
}

Direction directionOf(Operation operation)
{
    if (operation == Operation::Upload)
        return Direction::Up;
    return operation == Operation::Download ? Direction::Down : Direction::None;
}

ParamMap pathParams(const TaskJob &job)
{
    const QString source = QStringLiteral("srcPath");
    const QString destination = QStringLiteral("destPath");
    switch (job.operation) {
    case Operation::Upload:
        return {{source, job.localDirectory}, {destination, job.subPath}};
    case Operation::Download:
        return {{source, job.subPath}, {destination, job.localDirectory}};
    case Operation::List:
        return {{source, job.subPath}};
    case Operation::CreateDir:
        break;
    }
    return {{destination, job.subPath}};
}

TaskWishes wishesOf(const TaskJob &job)
{
    TaskWishes wishes;
    wishes.keepsExisting = job.operation == Operation::Upload && job.keepsExisting;
    wishes.rateLimit = job.operation == Operation::Download ? job.rateLimit : 0;
    return wishes;
}

void configure(VeskBase &handler, const TaskJob &job, UDTSOCKET socket, const TaskCounters &counters)
{
    const ParamMap params = {
        {QStringLiteral("endPoint"), QStringLiteral("client")},
        {QStringLiteral("operator"), operationName(job.operation)},
        {QStringLiteral("clientSocket"), QString::number(socket)},
        {QStringLiteral("total"), addressText(counters.total)},
        {QStringLiteral("offset"), addressText(counters.done)},
        {QStringLiteral("fileName"), job.fileName},
        {QStringLiteral("rootPath"), job.rootPath},
        {QStringLiteral("appKey"), job.share},
        {QStringLiteral("appVersion"), wishesOf(job).appendTo(programVersion())},
        {QStringLiteral("userName"), job.userName},
        {QStringLiteral("bVerify"), job.verifyMode},
        {QStringLiteral("bReplace"), QStringLiteral("false")},
    };
    (void)handler.setParams(params); // a host's own map is never refused
    (void)handler.setParams(pathParams(job)); // as above
}

// What a server has said that turned us away while the task was made ready; a large file is read for minutes.
QString partingWord(UDTSOCKET socket)
{
    constexpr int longest = 64 << 10; // bytes
    constexpr std::chrono::milliseconds patience(100); // it is here, or will not come
    MessageChannel channel(socket);
    channel.limit(longest, std::chrono::steady_clock::now() + patience);
    QString answer;
    if (!channel.recv(number(MessageKind::TaskParamAck), answer))
        return QString();
    return VeskBase::unSerializeParam(answer).value(QStringLiteral("errorType"));
}

CounterReading readTask(const TaskJob &job, const TaskCounters &counters, UDTSOCKET socket,
                        const QString &partial)
{
    CounterReading reading = readCounters(counters, socket);
    reading.direction = directionOf(job.operation);
    if (reading.direction == Direction::Up)
        return reading;
    reading.unsent = 0;
    // The transport advances the position in large steps, but writes every packet at once.
    if (phaseOf(reading) == Phase::Receiving)
        reading.done = qMax(reading.done, qMin(reading.total, QFileInfo(partial).size()));
    return reading;
}

} // namespace

TaskRunner::TaskRunner(const ClientContext &context)
    : m_context(context)
    , m_monitor(context.display)
{
}

TaskOutcome TaskRunner::run(const TaskJob &job, UDTSOCKET socket)
{
    TaskCounters counters;
    TaskFacts facts;
    facts.operation = job.operation;
    const Module::Handler handler = m_context.module.createHandler();
    configure(*handler, job, socket, counters);
    setRateLimit(socket, job.rateLimit);
    const QString partial = job.operation == Operation::Download ? temporaryPath(job.localPath()) : QString();
    RunMeter::Share moved(m_context.meter);
    const auto read = [&] {
        const CounterReading reading = readTask(job, counters, socket, partial);
        // Not the first reading: by then the transport may have taken over much of the file.
        const QString begin = handler->getParam(QStringLiteral("transferBeginSize"));
        if (reading.done >= 0 && !begin.isEmpty())
            moved.raiseTo(reading.done - reading.unsent - begin.toLongLong());
        return reading;
    };

    std::mutex stopMutex; // a signal and the monitor may stop the task at the same time
    std::optional<CounterReading> readingAtStop;
    // Stops the task for a later resume. The client's handler leaves its socket open, in which a bulk call
    // may be blocked. How far it got is read first: a closed socket no longer tells what is unsent.
    const auto stop = [&] {
        const std::lock_guard<std::mutex> lock(stopMutex);
        if (!readingAtStop)
            readingAtStop = read();
        // Each fails only without a socket.
        (void)(m_context.interruption.discards() ? handler->cancel() : handler->pause());
        (void)UDT::close(socket);
    };
    QObject::connect(handler.get(), &VeskBase::sigList, [&](const ParamMap &batch) {
        if (facts.stopped || !job.takeBatch || job.takeBatch(batch))
            return;
        facts.stopped = true;
        stop();
    });
    {
        const TaskLog log;
        const Interruption::StopAction onSignal(m_context.interruption, stop);
        const auto giveUp = [&](const QString &why) {
            facts.gaveUpBecause = why;
            stop();
        };
        const TaskMonitor::Watch watch(
            m_monitor, {job.shownName, socket, read, m_context.settings.stallSeconds, giveUp});
        facts.succeeded = handler->process();
        facts.lastLogError = log.lastError();
        if (facts.lastLogError == QLatin1String("send TaskParam failed."))
            facts.partingWord = partingWord(socket);
        facts.reading = read();
        facts.connectionIsUp = UDT::getsockstate(socket) == CONNECTED;
    }
    facts.interrupted = m_context.interruption.isRaised();
    if (readingAtStop)
        facts.reading = *readingAtStop;
    facts.lastError = handler->getLastError();
    facts.begin = handler->getParam(QStringLiteral("transferBeginSize"));
    facts.end = handler->getParam(QStringLiteral("transferEndSize"));
    const TaskOutcome outcome = judge(facts);
    moved.raiseTo(outcome.moved);
    return outcome;
}

} // namespace VESK::Host
