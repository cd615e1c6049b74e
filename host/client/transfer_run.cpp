#include "host/client/transfer_run.h"

#include "host/client/task_errors.h"
#include "host/error_type.h"
#include "host/text.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

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

TransferRun::TransferRun(const ClientContext &context, Direction direction, Mode mode)
    : m_context(context)
    , m_connector(context.settings.transport)
    , m_mode(mode)
    , m_report(context, direction)
{
    if (mode == Mode::Dry)
        m_report.beDry();
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
    if (m_mode == Mode::Dry)
        return plan(job);
    m_crew->submit(job, [this, job](const TaskEnd &end) { settle(job, end); });
}

void TransferRun::plan(const TaskJob &job)
{
    if (job.operation == Operation::Download)
        return m_report.addPlanned(job, -1, QFileInfo::exists(job.localPath()));
    const bool isThere = m_there.contains(job.subPath + QLatin1Char('/') + job.fileName);
    if (isThere && job.operation == Operation::Upload && m_context.settings.existing != Existing::Update)
        return leaveAlone(job);
    const bool isFile = job.operation == Operation::Upload;
    m_report.addPlanned(job, isFile ? QFileInfo(job.localPath()).size() : 0, isFile && isThere);
}

std::optional<NameList::Name> TransferRun::nextOf(NameList &names)
{
    while (mayGoOn()) {
        std::optional<NameList::Name> name = names.next();
        if (name && !name->flaw.isEmpty()) {
            m_report.addSkipped(name->shown, name->flaw);
            continue;
        }
        if (!name && names.error() != 0)
            m_report.addFailure(
                {ExitCode::LocalFile,
                 QStringLiteral("cannot read the list of names: %1").arg(qt_error_string(names.error())),
                 {}});
        return name;
    }
    return std::nullopt;
}

void TransferRun::learnWhatIsThere(const RemoteAddress &target)
{
    constexpr int mostNames = 1000000; // so many are kept in memory; beyond them, names count as not there
    TaskJob job = listingOf(target);
    job.takeBatch = [this](const ParamMap &batch) {
        for (auto entry = batch.begin(); entry != batch.end(); ++entry) {
            const QString path = entry.key().mid(1);
            m_there.insert(path.contains(QLatin1Char('/')) ? path : QLatin1Char('/') + path);
        }
        return m_there.size() < mostNames;
    };
    job.mayRepeat = [this] {
        m_there.clear();
        return true;
    };
    const TaskEnd end = m_crew->run(job);
    const bool isNew = end.outcome.errorType == ErrorType::noSuchDirectory();
    if (end.kind == TaskEnd::Kind::Failed && !isNew)
        m_report.addFailure(end.failure);
}

void TransferRun::leaveAlone(const TaskJob &job)
{
    TaskEnd end;
    end.outcome.result = TaskOutcome::Result::Kept;
    end.kind = TaskEnd::Kind::Succeeded;
    if (m_context.settings.existing == Existing::Fail) {
        end.kind = TaskEnd::Kind::Failed;
        end.failure = existsFailure(job);
    }
    m_report.addTransfer(job, end);
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
