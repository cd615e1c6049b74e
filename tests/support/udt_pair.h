#pragma once

#include <udt/udt.h>

namespace VESK::Test
{

/// Two connected UDT sockets of this process on 127.0.0.1, blocking, with linger off.
///
/// Linger off means that closing an end drops what the other end has not received yet: let the peer read
/// before closing. The ends share the program's two UDP ports (udt_ports.h). Pairs may be made from any
/// thread. A pair that cannot be connected ends the test program with a message.
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

} // namespace VESK::Test
