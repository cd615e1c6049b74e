#pragma once

#include <udt/udt.h>

#include <chrono>

namespace VESK::Test
{

/// Two connected UDT sockets of this process on 127.0.0.1, blocking, with linger off.
///
/// Linger off means that closing an end drops what the other end has not received yet: let the peer read
/// before closing, or call waitUntilDelivered. The ends share the program's two UDP ports (udt_ports.h).
/// Pairs may be made from any thread. A pair that cannot be connected ends the test program with a message.
class UdtPair
{
public:
    UdtPair();
    ~UdtPair();
    UdtPair(const UdtPair &) = delete;
    UdtPair &operator=(const UdtPair &) = delete;

    UDTSOCKET client() const { return m_client; }
    UDTSOCKET server() const { return m_server; }

    /// Closes one end; from any thread, also while another one waits on that socket. The number stays
    /// readable, and closing again does nothing.
    void closeClient();
    void closeServer();

private:
    UDTSOCKET m_client = UDT::INVALID_SOCK;
    UDTSOCKET m_server = UDT::INVALID_SOCK;
};

/// Waits until the peer of `socket` has received all that was sent, into its buffer at least; closing the
/// socket loses nothing then. False when the limit passes or the connection is broken.
[[nodiscard]] bool waitUntilDelivered(UDTSOCKET socket,
                                      std::chrono::seconds limit = std::chrono::seconds(20));

/// Waits until nothing received is left unread in the buffer of `socket`. False when the limit passes.
[[nodiscard]] bool waitUntilRead(UDTSOCKET socket, std::chrono::seconds limit = std::chrono::seconds(20));

} // namespace VESK::Test
