#pragma once

#include "host/client/client_context.h"
#include "host/client/session.h"
#include "host/client/transfer_summary.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonObject>

namespace VESK::Host
{

/// Tells what happens in a run of the client, as it happens, and counts it: failures and warnings to
/// stderr, events to stdout when they are wanted. For one thread.
class RunReport
{
public:
    RunReport(const ClientContext &context, Direction direction);

    /// Takes the end of a file's transfer.
    void addTransfer(const TaskJob &job, const TaskEnd &end);
    /// Takes the end of an empty directory's creation.
    void addDirectory(const TaskJob &job, const TaskEnd &end);

    void addFailure(const Failure &failure);
    /// A failure that has been told already, of another file.
    void addSilentFailure(ExitCode code) { m_summary.addFailure(code); }
    /// Something that is no failure of a transfer but will be missing on the other side; `name` is escaped.
    void addSkipped(const QString &name, const QString &why);
    void addHidden() { ++m_summary.hidden; }

    /// Closes the count of transfers; tells nothing but the summary event.
    TransferSummary finish();

    /// The exit status of the run so far.
    ExitCode exitCode() const;

private:
    void tell(const QString &line);
    void writeEvent(const QString &event, const QJsonObject &fields) const;
    void tellInterrupted(const TaskJob &job, const TaskEnd &end);

    const ClientContext m_context;
    TransferSummary m_summary;
    QElapsedTimer m_timer;
};

} // namespace VESK::Host
