#include "host/server/server.h"

#include "host/server/memory.h"
#include "host/server/server_log.h"
#include "host/text.h"

namespace VESK::Host
{

namespace
{

// Connections whose clients have yet to be admitted, besides those that have been: silent ones take no place
// from others until there are so many.
constexpr std::size_t maxStrangers = 128;

constexpr std::chrono::seconds quiet(5); // the transport frees a connection a second or two after its end

} // namespace

Server::Server(const Module &module, const ServerSettings &settings, const HelloTerms &terms,
               Listener &listener, const Witnesses &witnesses)
    : m_module(module)
    , m_terms({settings, terms})
    , m_listener(listener)
    , m_witnesses(witnesses)
    , m_idle(quiet, &returnFreedMemory)
{
}

Server::~Server()
{
    stop();
    m_tasks.hurry();
    if (m_draining.joinable())
        m_draining.join();
    stopConnections();
}

void Server::run()
{
    while (m_listener.isOpen()) {
        SocketAddress peer;
        UdtSocket socket = m_listener.accept(&peer);
        if (socket.isValid())
            admit(std::move(socket), peer);
    }
}

void Server::setTerms(const ServerSettings &settings, const HelloTerms &terms)
{
    m_terms.set({settings, terms});
}

std::vector<ConnectionStatus> Server::status()
{
    std::vector<ConnectionStatus> result;
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto &connection : m_connections) {
        if (!connection->isFinished())
            result.push_back(connection->status());
    }
    return result;
}

void Server::admit(UdtSocket socket, const SocketAddress &peer)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.remove_if([](const auto &connection) { return connection->isFinished(); });
    if (m_connections.size()
        >= static_cast<std::size_t>(m_terms.get()->settings.maxConnections) + maxStrangers) {
        logServer(QStringLiteral("warning"),
                  QStringLiteral("turned away %1: too many connections").arg(peer.text()));
        return;
    }
    const ServerConnection::Context context{m_module, m_terms, m_uploads, m_guesses,  m_guests,
                                            m_places, m_idle,  m_tasks,   m_witnesses};
    m_connections.push_back(std::make_unique<ServerConnection>(context, std::move(socket), peer));
}

void Server::drain()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_draining.joinable())
        return m_tasks.hurry();
    const double seconds = m_terms.get()->settings.drainSeconds;
    const int running = m_tasks.refuseFurther();
    if (running > 0 && seconds > 0)
        logServer(QStringLiteral("info"),
                  QStringLiteral("ending: %1 may go on for %2; a second signal pauses at once")
                      .arg(countText(running, QStringLiteral("running task")), durationText(seconds)));
    // Clients that come meanwhile are accepted, to be told why they are refused. Closed, the listener would
    // not answer clients either that ask whether the server of their task is still there.
    m_draining = std::thread([this, limit = std::chrono::duration<double>(seconds)] {
        m_tasks.waitForEnd(std::chrono::duration_cast<std::chrono::milliseconds>(limit));
        stop();
    });
}

void Server::stop()
{
    m_listener.close();
}

bool Server::finish(std::chrono::milliseconds limit)
{
    stopConnections();
    return m_idle.waitUntilIdle(limit);
}

void Server::stopConnections()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto &connection : m_connections)
        connection->stop();
}

} // namespace VESK::Host
