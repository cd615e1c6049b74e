#pragma once

#include "host/client/client_context.h"
#include "host/client/greeting.h"
#include "host/client/server_link.h"
#include "host/client/task_runner.h"
#include "host/errors.h"

#include <functional>
#include <memory>

namespace VESK::Host
{

/// How a task ended for good, all attempts taken together.
struct TaskEnd {
    enum class Kind {
        Succeeded,
        Failed,
        Interrupted,
        NotTaken, ///< the server takes no further connection, and others have one; never begun
    };
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
    /// For a session alone, which has a UDP port of its own; `use` says with whom.
    explicit Session(const ClientContext &context);
    /// For one of several. Asked when the server takes no further connection: may this session leave its
    /// task to others? The link outlives the session.
    Session(const ClientContext &context, ServerLink &link, std::function<bool()> mayResign);
    /// Ends the connection.
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// The server of the next tasks; its port is set.
    void use(const RemoteAddress &remote);

    TaskEnd run(const TaskJob &job);

    /// Asks the server to remove the partial copy that an interrupted upload has left. False when it did
    /// not, with the reason for people in `why`.
    [[nodiscard]] bool discard(const TaskJob &job, QString *why);

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
    bool connect(GreetingFailure *failure);
    bool settleNoConnection(const TaskJob &job, const GreetingFailure &failure, TaskEnd *end);
    void drop(const TaskOutcome &outcome);
    Step settle(const TaskJob &job, TaskEnd *end);
    Step settleRefusal(const TaskJob &job, TaskEnd *end);
    Step settleLoss(const TaskJob &job, TaskEnd *end);
    Step fail(const Failure &failure, TaskEnd *end);
    bool waitBeforeRetry(const QString &what);
    void takeConnection();
    void closeConnection();

    const ClientContext m_context;
    std::unique_ptr<Connector> m_ownConnector; // of a session alone
    std::unique_ptr<ServerLink> m_ownLink; // as above
    ServerLink *m_link = nullptr;
    const std::function<bool()> m_mayResign;
    TaskRunner m_runner;
    UdtSocket m_socket;
    bool m_isConnected = false; // as the link knows it
    bool m_wasConnected = false;
    Attempts m_attempts; // of the running task
};

} // namespace VESK::Host
