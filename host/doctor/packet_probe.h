#pragma once

#include "transport/connector.h"

#include <memory>
#include <optional>
#include <vector>

namespace VESK::Host
{

/// Finds out how large packets on the way to a server may be. For one thread; the transport is started.
class PacketProbe
{
public:
    explicit PacketProbe(const SocketAddress &server)
        : m_server(server)
    {
    }

    /// What became of one packet.
    struct Trial {
        int size = 0; ///< bytes on the wire; what both ends agreed on, no more than asked for
        bool arrives = false; ///< the server's transport has acknowledged it
    };

    /// Sends one packet of up to `size` bytes over a connection of its own, and waits a few seconds for its
    /// acknowledgement. Nothing when there is no connection.
    std::optional<Trial> send(int size);

    /// The largest datagram that this machine knows to pass unbroken, learnt from routers that answer; bytes
    /// with all headers. 0 when the system does not tell.
    int pathLimit() const;

private:
    const SocketAddress m_server;
    // Kept to the end: a UDP port that dies while sockets are opened can freeze the library.
    std::vector<std::unique_ptr<Connector>> m_connectors;
};

} // namespace VESK::Host
