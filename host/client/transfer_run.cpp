#include "host/client/transfer_run.h"

#include "host/text.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>

#include <csignal>

namespace VESK::Host
{

namespace
{

// For a second ^C, after which what has arrived is not kept.
constexpr double secondThoughtSeconds = 1;

bool isHidden(const TaskJob &job)
{
    const QString path = QLatin1Char('/') + job.subPath + QLatin1Char('/') + job.fileName;
    return path.contains(QLatin1String("/."));
}

} // namespace

TransferRun::TransferRun(const ClientContext &context, Direction direction)
    : m_context(context)
    , m_connector(context.settings.transport)
    , m_report(context, direction)
{
}

void TransferRun::use(const RemoteAddress &server)
{
    const bool isSame = m_crew && m_crew->server().host == server.host && m_crew->server().port == server.port
        && m_crew->server().user == server.user;
    if (isSame)
        return;
    m_crew.reset();
    m_isAwayTold = false;
    m_crew = std::make_unique<TransferCrew>(m_context, m_connector, server);
}

void TransferRun::submit(const TaskJob &job)
{
    m_crew->submit(job, [this, job](const TaskEnd &end) { settle(job, end); });
}

void TransferRun::settle(const TaskJob &job, const TaskEnd &end)
{
    if (end.kind == TaskEnd::Kind::Interrupted)
        noteInterrupted(job, end);
    if (isToldAlready(end))
        return m_report.addSilentFailure(end.failure.code);
    if (job.operation == Operation::CreateDir)
        return m_report.addDirectory(job, end);
    m_report.addTransfer(job, end);
    const bool isThere = end.kind == TaskEnd::Kind::Succeeded;
    if (isThere && job.operation == Operation::Upload && isHidden(job))
        m_report.addHidden();
}

// A server that is away is told once, with the first task that found it so.
bool TransferRun::isToldAlready(const TaskEnd &end)
{
    if (end.kind != TaskEnd::Kind::Failed || !end.serverIsAway)
        return false;
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_isAwayTold, true);
}

void TransferRun::noteInterrupted(const TaskJob &job, const TaskEnd &end)
{
    if (!job.movesFile() || (end.outcome.begin < 0 && end.movedBytes == 0))
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_interrupted.push_back(job);
}

TransferSummary TransferRun::finish()
{
    if (m_crew)
        m_crew->waitUntilIdle();
    if (m_context.interruption.isRaised())
        settleInterrupted();
    m_crew.reset();
    return m_report.finish();
}

void TransferRun::settleInterrupted()
{
    Interruption &interruption = m_context.interruption;
    interruption.beginSettling();
    if (!interruption.limit().isEmpty())
        m_context.display.print(
            QStringLiteral("stopped: %1 is reached; what has arrived is kept.\n").arg(interruption.limit()));
    const bool mayChange = interruption.signal() == SIGINT && !m_interrupted.empty();
    if (!mayChange || !interruption.waitForDiscard(secondThoughtSeconds))
        return;
    for (const TaskJob &job : m_interrupted)
        discard(job);
}

void TransferRun::discard(const TaskJob &job)
{
    QString why;
    bool isGone = false;
    if (job.operation == Operation::Upload) {
        isGone = m_crew->discard(job, &why);
    } else {
        QFile partial(temporaryPath(job.localPath()));
        isGone = !partial.exists() || partial.remove();
        why = partial.errorString();
    }
    m_context.display.print(
        isGone ? QStringLiteral("discarded: %1: what had arrived is removed.\n").arg(job.shownName)
               : QStringLiteral("warning: %1: what has arrived could not be removed: %2.\n")
                     .arg(job.shownName, why));
}

} // namespace VESK::Host
