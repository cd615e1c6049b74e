#pragma once

#include "host/client/name_list.h"
#include "host/client/run_report.h"
#include "host/client/transfer_crew.h"

#include <QtCore/QSet>

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace VESK::Host
{

/// What uploads and downloads have in common: tasks for one server after another, run over several
/// connections, told to one report; and what is left of interrupted ones is kept or discarded. For one
/// thread.
class TransferRun
{
public:
    enum class Mode {
        Real,
        Dry, ///< transfers are counted, not made
    };

    TransferRun(const ClientContext &context, Direction direction, Mode mode = Mode::Real);

    /// The server of the next tasks; its port is set. Waits for the tasks of another one.
    void use(const RemoteAddress &server);

    /// Hands over a transfer or the creation of a directory; its end is reported.
    void submit(const TaskJob &job);

    /// Runs a task, such as a listing, whose end is the caller's to report.
    TaskEnd run(const TaskJob &job) { return m_crew->run(job); }

    /// For dry runs of uploads: asks the server which names are below the target, as far as it shows them.
    /// A server that is away, or refuses to say, is reported as such.
    void learnWhatIsThere(const RemoteAddress &target);

    /// Reports a transfer that is not to be made since its target exists.
    void leaveAlone(const TaskJob &job);

    /// False when the run was stopped; the rest is left alone then.
    bool mayGoOn() const { return !m_context.interruption.isRaised(); }

    /// The next name of a list that is fit to be moved; reports those that are not, and a list that cannot be
    /// read to its end. Nothing at the end, and when the run was stopped.
    std::optional<NameList::Name> nextOf(NameList &names);

    RunReport &report() { return m_report; }

    /// Waits for all tasks, discards what is to be discarded, and ends the connections.
    TransferSummary finish();

private:
    void plan(const TaskJob &job);
    void settle(const TaskJob &job, const TaskEnd &end);
    bool isToldAlready(const TaskEnd &end);
    void noteInterrupted(const TaskJob &job, const TaskEnd &end);
    void settleInterrupted();
    void discard(const TaskJob &job);

    const ClientContext m_context;
    Connector m_connector; // of all servers: its port is kept for as long as anybody opens sockets
    const Mode m_mode;
    RunReport m_report;
    QSet<QString> m_there; // paths below the target of a dry run
    std::unique_ptr<TransferCrew> m_crew;

    std::mutex m_mutex; // guards all below
    bool m_isAwayTold = false; // of the server in hand
    std::vector<TaskJob> m_interrupted; // that may have left something
};

} // namespace VESK::Host
