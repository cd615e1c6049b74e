#include "host/client/run_report.h"

#include "host/event_writer.h"
#include "host/text.h"

#include <csignal>

namespace VESK::Host
{

namespace
{

// As people choose it.
QString modeWord(const QString &verifyMode)
{
    if (verifyMode == QLatin1String("fileattr"))
        return QStringLiteral("quick");
    return verifyMode == QLatin1String("false") ? QStringLiteral("none") : verifyMode;
}

} // namespace

RunReport::RunReport(const ClientContext &context, Direction direction)
    : m_context(context)
{
    m_summary.direction = direction;
    m_summary.verifyMode = direction == Direction::None ? QString() : modeWord(context.settings.verifyMode);
    m_timer.start();
}

void RunReport::addTransfer(const TaskJob &job, const TaskEnd &end)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (end.kind != TaskEnd::Kind::Interrupted)
        m_context.display.addDone(end.outcome.total, end.movedBytes);
    count(job, end);
}

void RunReport::count(const TaskJob &job, const TaskEnd &end)
{
    m_summary.movedBytes += end.movedBytes;
    if (end.kind == TaskEnd::Kind::Failed)
        return fail(end.failure, job.localPath());
    if (end.kind == TaskEnd::Kind::Interrupted)
        return tellInterrupted(job, end);

    const TaskOutcome &outcome = end.outcome;
    if (outcome.result == TaskOutcome::Result::Kept)
        return countKept(job);
    const QString moved = m_summary.isDownload() ? QStringLiteral("received") : QStringLiteral("sent");
    const bool isPlaced = outcome.result == TaskOutcome::Result::Done;
    writeEvent(QStringLiteral("file"),
               {{QStringLiteral("name"), job.localPath()},
                {QStringLiteral("result"), isPlaced ? moved : QStringLiteral("already-there")},
                {QStringLiteral("size"), outcome.total},
                {QStringLiteral("resumed"), isPlaced ? end.resumedBytes : 0},
                {QStringLiteral("from"), qMax<qint64>(0, outcome.begin)},
                {QStringLiteral("moved"), outcome.moved}});
    if (!isPlaced) {
        ++m_summary.alreadyThere;
        m_summary.skippedBytes += outcome.total;
        if (m_context.settings.namesEachFile)
            tell(QStringLiteral("already there: %1\n").arg(job.shownName));
        return;
    }
    ++m_summary.placed;
    m_summary.placedBytes += outcome.total;
    m_summary.resumedBytes += end.resumedBytes;
    if (m_context.settings.namesEachFile)
        tell(QStringLiteral("%1: %2 (%3, from %4)\n")
                 .arg(moved, job.shownName, bytesText(outcome.total), bytesText(outcome.begin)));
}

void RunReport::countKept(const TaskJob &job)
{
    ++m_summary.kept;
    writeEvent(
        QStringLiteral("file"),
        {{QStringLiteral("name"), job.localPath()}, {QStringLiteral("result"), QStringLiteral("kept")}});
    if (m_context.settings.namesEachFile)
        tell(QStringLiteral("left alone: %1\n").arg(job.shownName));
}

void RunReport::tellInterrupted(const TaskJob &job, const TaskEnd &end)
{
    constexpr int mostTold = 3; // the others are in the same state
    if (++m_interrupted > mostTold || m_context.interruption.discards())
        return;
    const TaskOutcome &outcome = end.outcome;
    const QString moved = m_summary.isDownload() ? QStringLiteral("received") : QStringLiteral("sent");
    const QString place = m_summary.isDownload() ? QStringLiteral("here") : QStringLiteral("on the server");
    tell(QStringLiteral("interrupted: %1: %2 of %3 %4 by now; what has arrived is kept %5.\n"
                        "  - Run the same command again to go on from there.\n")
             .arg(job.shownName, bytesText(qMax<qint64>(0, outcome.begin) + outcome.moved),
                  bytesText(qMax<qint64>(0, outcome.total)), moved, place));
}

void RunReport::addDirectory(const TaskJob &job, const TaskEnd &end)
{
    if (end.kind == TaskEnd::Kind::Interrupted)
        return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_context.display.addDone(0, 0);
    if (end.kind == TaskEnd::Kind::Failed)
        return fail(end.failure, job.shownName);
    ++m_summary.directories;
    writeEvent(QStringLiteral("directory"), {{QStringLiteral("name"), job.shownName}});
}

void RunReport::addPlanned(const TaskJob &job, qint64 size, bool isThere)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool isDirectory = job.operation == Operation::CreateDir;
    ++(isDirectory ? m_summary.plannedDirectories : m_summary.planned);
    m_summary.plannedThere += isThere ? 1 : 0;
    m_summary.plannedBytes += qMax<qint64>(0, size);
    m_summary.knowsPlannedBytes = m_summary.knowsPlannedBytes && size >= 0;
    writeEvent(QStringLiteral("planned"),
               {{QStringLiteral("name"), isDirectory ? job.subPath : job.localPath()},
                {QStringLiteral("kind"), isDirectory ? QStringLiteral("dir") : QStringLiteral("file")},
                {QStringLiteral("size"), size},
                {QStringLiteral("there"), isThere}});
    if (m_context.settings.namesEachFile)
        tell(QStringLiteral("would move: %1%2\n")
                 .arg(job.shownName, isThere ? QStringLiteral(" (unless it is there already)") : QString()));
}

void RunReport::addFailure(const Failure &failure)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_context.display.addDone(-1, 0);
    fail(failure);
}

void RunReport::addSilentFailure(ExitCode code)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_context.display.addDone(-1, 0);
    m_summary.addFailure(code);
}

void RunReport::setListed(qint64 names)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_summary.listed = names;
}

void RunReport::addHidden()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_summary.hidden;
}

void RunReport::fail(const Failure &failure, const QString &name)
{
    m_summary.addFailure(failure.code);
    writeEvent(QStringLiteral("error"), errorFields(failure, name));
    tell(failureText(failure));
}

void RunReport::addSkipped(const QString &name, const QString &why)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_summary.skipped;
    writeEvent(QStringLiteral("skipped"), {{QStringLiteral("name"), name}, {QStringLiteral("why"), why}});
    tell(QStringLiteral("warning: skipped %1: %2.\n").arg(name, why));
}

void RunReport::beDry()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_summary.isDryRun = true;
}

TransferSummary RunReport::finish()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_summary.seconds = static_cast<double>(m_timer.elapsed()) / 1000;
    m_summary.exitCode = settledCode();
    m_context.display.endReports(); // nothing follows the summary
    writeEvent(QStringLiteral("summary"), summaryFields(m_summary));
    return m_summary;
}

ExitCode RunReport::exitCode() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return settledCode();
}

ExitCode RunReport::settledCode() const
{
    const int signal = m_context.interruption.signal();
    if (signal != 0)
        return signal == SIGTERM ? ExitCode::Terminated : ExitCode::Interrupted;
    if (!m_context.interruption.limit().isEmpty())
        return ExitCode::LimitReached;
    const bool isPartial = m_summary.skipped > 0 || (m_summary.failed > 0 && m_summary.hasSuccess());
    if (isPartial)
        return ExitCode::Partial;
    const bool isNothing = m_summary.failed == 0
        && m_summary.placed + m_summary.directories + m_summary.planned + m_summary.plannedDirectories == 0;
    return isNothing && m_context.settings.failsIfNothing ? ExitCode::NothingToDo : m_summary.exitCode;
}

void RunReport::tell(const QString &line)
{
    m_context.display.print(line);
}

void RunReport::writeEvent(const QString &event, const QJsonObject &fields) const
{
    if (m_context.settings.writesEvents)
        writeEventLine(event, fields);
}

} // namespace VESK::Host
