#pragma once

#include "transport/socket_address.h"

#include <cstddef>

namespace VESK
{

/// Asks a peer's UDP port, beside the connections to it, what those do not tell: whether nobody listens
/// there, which looks like silence to UDT, and whether a listening port still answers while a connection to
/// it has nothing to say for minutes. A plain UDP socket that is connected to the port: a datagram to a port
/// without an owner comes back as an error on it. For one thread.
class PortProbe
{
public:
    explicit PortProbe(const SocketAddress &peer);
    ~PortProbe();
    PortProbe(const PortProbe &) = delete;
    PortProbe &operator=(const PortProbe &) = delete;

    /// Sends one datagram that UDT ignores where it does arrive.
    void knock();

    /// Has the peer's system, or one on the way, ever answered with an error? Waits for it up to `waitMs`
    /// milliseconds. The first is kept in `systemError`.
    bool isRefused(int waitMs);

    /// The system's error number of the refusal (ECONNREFUSED, EHOSTUNREACH, ...), 0 when there is none.
    int systemError() const { return m_error; }

    /// Sends the first packet of a handshake, 64 bytes. The thread of a listening port answers it at once
    /// with a cookie, whatever its connections are doing, and keeps nothing of it. What is lost is lost.
    void ask();

    /// Has an answer to `ask` come since the last call? Does not wait.
    bool isAnswered();

private:
    void send(const void *data, std::size_t size);
    void note(int error);

    int m_descriptor = -1;
    int m_error = 0;
};

} // namespace VESK
