#pragma once

#include "host/server/running_uploads.h"
#include "host/server/server_settings.h"
#include "transport/udt_socket.h"

#include "vesk_base/module.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace VESK::Host
{

class TaskGate;

/// Serves one client's tasks, one after another, on a thread of its own, until the client says "return",
/// the connection ends, or `stop` is called.
class ServerConnection
{
public:
    /// What all connections of a server share; outlives them.
    struct Context {
        const Module &module;
        const ServerSettings &settings;
        RunningUploads &uploads;
    };

    ServerConnection(const Context &context, UdtSocket socket, const SocketAddress &peer);
    /// Waits for the thread to end.
    ~ServerConnection();
    ServerConnection(const ServerConnection &) = delete;
    ServerConnection &operator=(const ServerConnection &) = delete;

    /// Pauses the running task and lets the thread end soon. Any thread.
    void stop();

    bool isFinished() const { return m_isFinished; }

private:
    enum class Next { AnotherTask, Close, CloseAfterDelivery };

    void run();
    Next serveTask();
    Next afterFailure(VeskBase &handler, const TaskGate &gate);
    bool sendRefusal(const QString &errorType);
    void configure(VeskBase &handler) const;
    bool publish(VeskBase *handler);
    void pauseTask();

    const Context m_context;
    UdtSocket m_socket;
    const SocketAddress m_peer;

    std::mutex m_mutex; // guards the two below
    VeskBase *m_handler = nullptr; // of the running task; pause() is called on it
    bool m_isStopping = false;

    std::atomic<bool> m_isFinished{false};
    std::thread m_thread;
};

} // namespace VESK::Host
