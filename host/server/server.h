#pragma once

#include "host/server/idle_watch.h"
#include "host/server/server_connection.h"
#include "transport/listener.h"

#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace VESK::Host
{

/// Accepts connections and gives each a thread. The listener and what the terms refer to are the caller's,
/// and outlive it; the listener is open.
class Server
{
public:
    /// The witnesses outlive it, too.
    Server(const Module &module, const ServerSettings &settings, const HelloTerms &terms, Listener &listener,
           const Witnesses &witnesses = {});
    /// Ends at once what runs, and waits for every connection to end.
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /// New terms, for what is asked from now on: running tasks go on by those that they began with, and
    /// clients that have been admitted stay. Any thread.
    void setTerms(const ServerSettings &settings, const HelloTerms &terms);

    /// The connections, one after another. Any thread.
    std::vector<ConnectionStatus> status();

    /// Does a running upload write to the file `path`? Any thread.
    bool isReceiving(const QString &path) { return m_uploads.holds(path); }

    /// Accepts until `drain` is through, or `stop` is called.
    void run();

    /// Refuses further clients and tasks, lets the tasks that run end, for as long as the settings say at
    /// most, and then makes `run` return. A second call makes it return at once. Any thread.
    void drain();

    /// Makes `run` return at once. Any thread.
    void stop();

    /// After `run`: pauses every task and waits for the connections to end. False when one has not after
    /// `limit`: a file's hash is not interrupted, and may take minutes.
    [[nodiscard]] bool finish(std::chrono::milliseconds limit);

private:
    void admit(UdtSocket socket, const SocketAddress &peer);
    void stopConnections();

    const Module &m_module;
    CurrentTerms m_terms;
    Listener &m_listener;
    const Witnesses m_witnesses;
    RunningUploads m_uploads;
    GuessDelay m_guesses;
    std::atomic<int> m_guests{0};
    UserPlaces m_places;
    IdleWatch m_idle;
    RunningTasks m_tasks;
    std::mutex m_mutex; // guards the two below
    std::list<std::unique_ptr<ServerConnection>> m_connections;
    std::thread m_draining;
};

} // namespace VESK::Host
