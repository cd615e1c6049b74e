#pragma once

#include "host/server/idle_watch.h"
#include "host/server/server_connection.h"
#include "transport/listener.h"

#include <list>
#include <memory>

namespace VESK::Host
{

/// Accepts connections and gives each a thread. The listener and what the terms refer to are the caller's,
/// and outlive it; the listener is open.
class Server
{
public:
    Server(const Module &module, const ServerSettings &settings, const HelloTerms &terms, Listener &listener);
    /// Stops, and waits for every connection to end.
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /// Accepts until the listener is closed.
    void run();

    /// Closes the listener, so that `run` returns. Any thread.
    void stop();

    /// After `run`: pauses every task and waits for the connections to end. False when one has not after
    /// `limit`: a file's hash is not interrupted, and may take minutes.
    [[nodiscard]] bool finish(std::chrono::milliseconds limit);

private:
    void admit(UdtSocket socket, const SocketAddress &peer);
    void stopConnections();

    const Module &m_module;
    const ServerSettings m_settings;
    const HelloTerms m_terms;
    Listener &m_listener;
    RunningUploads m_uploads;
    GuessDelay m_guesses;
    std::atomic<int> m_guests{0};
    IdleWatch m_idle;
    std::list<std::unique_ptr<ServerConnection>> m_connections; // of the thread in run()
};

} // namespace VESK::Host
