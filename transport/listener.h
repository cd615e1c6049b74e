#pragma once

#include "transport/udt_socket.h"

namespace VESK
{

/// A listening UDT socket. Accepted sockets share its UDP port and inherit its options, linger off
/// included.
class Listener
{
public:
    explicit Listener(const TransportOptions &options);

    /// Binds and listens. False on failure, with the library's or the system's reason in `error`.
    [[nodiscard]] bool open(const SocketAddress &address, QString *error);

    /// Where it listens, the port filled in.
    SocketAddress address() const { return m_socket.localAddress(); }

    /// The next connection; waits for one. Invalid when the listener was closed, and when a peer was
    /// turned away (`isOpen` tells which).
    UdtSocket accept(SocketAddress *peer);

    bool isOpen() const;

    /// Ends a waiting `accept`. The port stays bound for some 4 s. Any thread.
    void close();

private:
    const TransportOptions m_options;
    UdtSocket m_socket;
};

} // namespace VESK
