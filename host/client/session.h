#pragma once

#include "host/client/client_context.h"
#include "host/client/task_runner.h"
#include "host/errors.h"
#include "transport/connector.h"

namespace VESK::Host
{

/// How a task ended for good, all attempts taken together.
struct TaskEnd {
    enum class Kind { Succeeded, Failed, Interrupted };
    Kind kind = Kind::Interrupted;
    TaskOutcome outcome; ///< of the last attempt
    Failure failure; ///< when it failed
    qint64 movedBytes = 0; ///< by all attempts
    qint64 resumedBytes = 0; ///< what earlier runs had left where the first attempt began
    bool serverIsAway = false; ///< it failed since the server could not be reached; others need not try
};

/// Runs tasks one after another over one connection, and makes a new one when it is lost. Warnings of
/// attempts that failed go to stderr; the end is the caller's to tell. For one thread; an interruption may
/// come from any.
class Session
{
public:
    explicit Session(const ClientContext &context);
    /// Ends the connection.
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// The server of the next tasks; its port is set.
    void use(const RemoteAddress &remote);

    TaskEnd run(const TaskJob &job);

    /// Tells the server that no task follows, and closes.
    void finish();

private:
    enum class Step { Again, End };

    struct Attempts {
        int failures = 0; ///< lost connections since bytes last moved
        int withoutProgress = 0; ///< tasks in a row that moved nothing though the server was reached
        bool verifyFailed = false; ///< once already
        qint64 firstBegin = -1; ///< where the first began; -1 before one did
    };

    bool ensureConnected(const TaskJob &job, TaskEnd *end);
    void drop(const TaskOutcome &outcome);
    Step settle(const TaskJob &job, TaskEnd *end);
    Step settleLoss(const TaskJob &job, TaskEnd *end);
    Step fail(const Failure &failure, TaskEnd *end);
    bool waitBeforeRetry(const QString &what);

    const ClientContext m_context;
    Connector m_connector;
    TaskRunner m_runner;
    RemoteAddress m_remote;
    UdtSocket m_socket;
    bool m_wasConnected = false;
    Attempts m_attempts; // of the running task
};

} // namespace VESK::Host
