#pragma once

#include "host/client/client_context.h"
#include "host/client/greeting.h"
#include "host/client/server_link.h"
#include "host/client/task_end.h"
#include "host/client/task_runner.h"

#include <functional>
#include <memory>

namespace VESK::Host
{

/// Runs tasks one after another over one connection, and makes a new one when it is lost. Warnings of
/// attempts that failed go to stderr; the end is the caller's to tell. For one thread; an interruption may
/// come from any.
class Session
{
public:
    /// Why a session gets no connection.
    enum class Obstacle {
        Full, ///< as far as can be seen, the server takes no further one
        Lost, ///< it had one, and gets no other
    };
    /// Asks for leave to end, as others will do the task.
    using Resign = std::function<bool(Obstacle)>;

    /// For a session alone, which has a UDP port of its own; `use` says with whom.
    explicit Session(const ClientContext &context);
    /// For one of several, which do each other's tasks: one whose connection is lost does not wait with this
    /// session while another has a connection. The link outlives the session.
    Session(const ClientContext &context, ServerLink &link, Resign mayResign);
    /// Ends the connection.
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// The server of the next tasks; its port is set.
    void use(const RemoteAddress &remote);

    /// Runs a task to its end, unless others are to go on with it; `attempts` is what has been tried already.
    TaskEnd run(const TaskJob &job, TaskAttempts *attempts);
    /// A task that nobody has tried.
    TaskEnd run(const TaskJob &job);

    /// Asks the server to remove the partial copy that an interrupted upload has left. False when it did
    /// not, with the reason for people in `why`.
    [[nodiscard]] bool discard(const TaskJob &job, QString *why);

    /// Tells the server that no task follows, and closes.
    void finish();

private:
    enum class Step { Again, End };

    bool ensureConnected(const TaskJob &job, TaskEnd *end);
    bool connect(GreetingFailure *failure);
    Step settleNoConnection(const TaskJob &job, const GreetingFailure &failure, TaskEnd *end);
    void drop(const TaskOutcome &outcome);
    Step settle(const TaskJob &job, TaskEnd *end);
    Step settleRefusal(const TaskJob &job, TaskEnd *end);
    Step settleLoss(const TaskJob &job, TaskEnd *end);
    Step fail(const Failure &failure, TaskEnd *end);
    Step retry(const QString &what, const Failure &otherwise, TaskEnd *end);
    Step defer(double seconds, TaskEnd *end);
    bool resign(Obstacle obstacle, TaskEnd *end);
    bool othersAreConnected() const;
    void warnOfRetry(const QString &what, double seconds);
    Step waitAlone(double seconds, TaskEnd *end);
    void takeConnection();
    void closeConnection();

    const ClientContext m_context;
    std::unique_ptr<Connector> m_ownConnector; // of a session alone
    std::unique_ptr<ServerLink> m_ownLink; // as above
    ServerLink *m_link = nullptr;
    const Resign m_mayResign; // of a session alone: none
    TaskRunner m_runner;
    UdtSocket m_socket;
    bool m_isConnected = false; // as the link knows it
    bool m_wasConnected = false;
    bool m_wasTurnedAway = false; // by a server that takes nobody now
    TaskAttempts *m_attempts = nullptr; // of the running task
};

} // namespace VESK::Host
