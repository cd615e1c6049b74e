#pragma once

#include "host/hello/server_hello.h"
#include "host/server/connection_status.h"
#include "host/server/done_hook.h"
#include "host/server/guess_delay.h"
#include "host/server/idle_watch.h"
#include "host/server/running_tasks.h"
#include "host/server/running_uploads.h"
#include "host/server/server_meter.h"
#include "host/server/server_terms.h"
#include "host/server/user_places.h"
#include "transport/udt_socket.h"

#include "vesk_base/module.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace VESK::Host
{

class TaskGate;

/// Who is told of what a server does; each may be null.
struct Witnesses {
    ServerMeter *meter = nullptr;
    DoneHook *hook = nullptr;
};

/// Serves one client on a thread of its own: its hello, then its tasks one after another, until the client
/// says "return", the connection ends, or `stop` is called.
class ServerConnection
{
public:
    /// What all connections of a server share; outlives them.
    struct Context {
        const Module &module;
        const CurrentTerms &terms;
        RunningUploads &uploads;
        GuessDelay &guesses;
        std::atomic<int> &guests; ///< connections whose clients have been admitted
        UserPlaces &places; ///< of these, by user
        IdleWatch &idle; ///< each connection is a visit
        RunningTasks &tasks;
        Witnesses witnesses;
    };

    ServerConnection(const Context &context, UdtSocket socket, const SocketAddress &peer);
    /// Waits for the thread to end.
    ~ServerConnection();
    ServerConnection(const ServerConnection &) = delete;
    ServerConnection &operator=(const ServerConnection &) = delete;

    /// Pauses the running task and lets the thread end soon. Any thread.
    void stop();

    bool isFinished() const { return m_isFinished; }

    /// Any thread.
    ConnectionStatus status();

private:
    enum class Next { AnotherTask, Close, CloseAfterDelivery };

    struct Message {
        int kind = 0;
        QString text;
    };

    void run();
    Next admit();
    Next admitWithoutHello(const Message &first);
    Next judgeReception(const Reception &reception);
    Next takePlace();
    Next punish();
    Next serveMessage(MessageChannel &channel);
    Next serveTask(const Message &message);
    Next runTask(const Message &message);
    void awaitDelivery();
    Next refuseAndClose(const QString &errorType);
    Next afterFailure(VeskBase &handler, const TaskGate &gate);
    bool sendRefusal(const QString &errorType);
    void testify(VeskBase &handler, const Share *share, bool succeeded) const;
    void configure(VeskBase &handler, const Share *share) const;
    bool publish(VeskBase *handler);
    void pauseTask();
    const HelloTerms &hello() const { return m_terms->hello; }

    const Context m_context;
    const UDTSOCKET m_socketId; // for stop(), whatever becomes of m_socket
    UdtSocket m_socket;
    const SocketAddress m_peer;
    const std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();

    // Of the connection's thread.
    std::shared_ptr<const ServerTerms> m_terms; // of the hello, then of the running task
    std::optional<Message> m_pending; // a task that came in place of a hello
    bool m_isGuest = false; // counted in Context::guests

    std::mutex m_mutex; // guards the three below
    QString m_user; // as the client says; empty without a hello; written by the connection's thread alone
    std::condition_variable m_stopped;
    VeskBase *m_handler = nullptr; // of the running task; pause() is called on it
    bool m_isStopping = false;

    std::atomic<bool> m_isFinished{false};
    std::thread m_thread;
};

} // namespace VESK::Host
