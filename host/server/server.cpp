#include "host/server/server.h"

#include "host/server/server_log.h"

namespace VESK::Host
{

namespace
{

// Connections whose clients have yet to be admitted, besides those that have been: silent ones take no place
// from others until there are so many.
constexpr std::size_t maxStrangers = 128;

} // namespace

Server::Server(const Module &module, const ServerSettings &settings, const HelloTerms &terms,
               Listener &listener)
    : m_module(module)
    , m_settings(settings)
    , m_terms(terms)
    , m_listener(listener)
{
}

Server::~Server()
{
    stop();
    for (const auto &connection : m_connections)
        connection->stop();
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

void Server::admit(UdtSocket socket, const SocketAddress &peer)
{
    m_connections.remove_if([](const auto &connection) { return connection->isFinished(); });
    if (m_connections.size() >= static_cast<std::size_t>(m_settings.maxConnections) + maxStrangers) {
        logServer(QStringLiteral("warning"),
                  QStringLiteral("turned away %1: too many connections").arg(peer.text()));
        return;
    }
    const ServerConnection::Context context{m_module, m_settings, m_terms, m_uploads, m_guesses, m_guests};
    m_connections.push_back(std::make_unique<ServerConnection>(context, std::move(socket), peer));
}

void Server::stop()
{
    m_listener.close();
}

} // namespace VESK::Host
