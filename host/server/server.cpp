#include "host/server/server.h"

#include "host/server/memory.h"
#include "host/server/server_log.h"

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
    const ServerConnection::Context context{m_module, m_terms,  m_uploads, m_guesses,
                                            m_guests, m_places, m_idle,    m_witnesses};
    m_connections.push_back(std::make_unique<ServerConnection>(context, std::move(socket), peer));
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
