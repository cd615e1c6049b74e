#pragma once

#include "host/client/client_context.h"
#include "host/client/session.h"
#include "host/client/transfer_summary.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonObject>

#include <mutex>

namespace VESK::Host
{

/// Tells what happens in a run of the client, as it happens, and counts it: failures and warnings to
/// stderr, events to stdout when they are wanted. What becomes known and what is done goes to the progress
/// display as well. Any thread.
class RunReport
{
public:
    RunReport(const ClientContext &context, Direction direction);

    /// Takes the end of a file's transfer.
    void addTransfer(const TaskJob &job, const TaskEnd &end);
    /// Takes the end of an empty directory's creation.
    void addDirectory(const TaskJob &job, const TaskEnd &end);

    /// Takes a task of a dry run; `size` in bytes, -1 when it is not known, and whether there is a file of
    /// that name at the target.
    void addPlanned(const TaskJob &job, qint64 size, bool isThere);

    void addFailure(const Failure &failure);
    /// A failure that has been told already, of another file.
    void addSilentFailure(ExitCode code);
    /// Something that is no failure of a transfer but will be missing on the other side; `name` is escaped.
    void addSkipped(const QString &name, const QString &why);
    void addHidden();
    /// The number of names that a listing gave out.
    void setListed(qint64 names);

    /// Nothing is moved in this run, only counted.
    void beDry();

    /// Closes the count of transfers; tells nothing but the summary event.
    TransferSummary finish();

    /// The exit status of the run so far.
    ExitCode exitCode() const;

private:
    void count(const TaskJob &job, const TaskEnd &end);
    void fail(const Failure &failure, const QString &name = QString());
    ExitCode settledCode() const;
    void tell(const QString &line);
    void writeEvent(const QString &event, const QJsonObject &fields) const;
    void countKept(const TaskJob &job);
    void tellInterrupted(const TaskJob &job, const TaskEnd &end);

    const ClientContext m_context;
    mutable std::mutex m_mutex; // guards the summary, and keeps what is told of one file together
    TransferSummary m_summary;
    int m_interrupted = 0; // files that were on their way when the run was stopped
    QElapsedTimer m_timer;
};

} // namespace VESK::Host
