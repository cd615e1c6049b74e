#pragma once

#include "host/client/connection_tuner.h"
#include "host/client/job_queue.h"
#include "host/client/rate_budget.h"
#include "host/client/server_link.h"

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace VESK::Host
{

/// Runs tasks over several connections to one server, each with a session on a thread of its own. The
/// first connection stands before there are others, so that a server that is away, or refuses us, is
/// asked once. For one thread, which hands the tasks over.
class TransferCrew
{
public:
    using Ended = std::function<void(const TaskEnd &)>;

    /// The connector outlives it.
    TransferCrew(const ClientContext &context, Connector &connector, const RemoteAddress &server);
    /// Waits until all tasks have ended, and ends the connections.
    ~TransferCrew();
    TransferCrew(const TransferCrew &) = delete;
    TransferCrew &operator=(const TransferCrew &) = delete;

    /// Hands a task over; waits while too many are on their way. `ended` is called on a session's thread,
    /// several at a time.
    void submit(TaskJob job, Ended ended);

    /// Runs a task to its end.
    TaskEnd run(TaskJob job);

    /// Waits until all tasks have ended.
    void waitUntilIdle() { m_queue.waitUntilIdle(); }

    /// Asks the server to remove what an interrupted upload has left. False when it did not, with the
    /// reason in `why`. After `waitUntilIdle`.
    [[nodiscard]] bool discard(const TaskJob &job, QString *why);

    const RemoteAddress &server() const { return m_link.remote(); }

private:
    void work();
    TaskEnd runOnce(Session &session, JobQueue::Work &work);
    bool resign(Session::Obstacle obstacle);
    bool mayStay();
    void addWorker();
    void govern();
    void adjust();

    const ClientContext m_context;
    ServerLink m_link;
    JobQueue m_queue;
    const Interruption::StopAction m_hurry; // tasks that wait for another attempt end at once
    RateBudget m_rate;

    std::mutex m_mutex; // guards all below but the governor
    ConnectionTuner m_tuner;
    int m_wanted = 1;
    int m_affordable = 1; // connections, at the last look at the memory
    qint64 m_memoryLookMs = 0; // of the next look
    int m_workers = 0; // sessions at work, or waiting for it
    bool m_isAway = false; // the server was not reached; the rest need not try
    Failure m_awayFailure;
    bool m_isEnding = false;
    std::condition_variable m_ending;
    std::vector<std::thread> m_threads; // of sessions, ended ones included

    std::thread m_governor;
};

} // namespace VESK::Host
