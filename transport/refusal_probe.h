#pragma once

#include "transport/socket_address.h"

namespace VESK
{

/// Tells "nobody listens there" from silence, which look alike to UDT: a plain UDP socket connected to the
/// peer's port, on which a datagram to a port without an owner comes back as an error. UDT ignores the
/// datagram where it does arrive. For one thread.
class RefusalProbe
{
public:
    explicit RefusalProbe(const SocketAddress &peer);
    ~RefusalProbe();
    RefusalProbe(const RefusalProbe &) = delete;
    RefusalProbe &operator=(const RefusalProbe &) = delete;

    /// Sends one datagram.
    void send();

    /// Has the peer's system, or one on the way, answered with an error since `send`? Waits for it up to
    /// `waitMs` milliseconds. The answer is kept in `systemError`.
    bool isRefused(int waitMs);

    /// The system's error number of the refusal (ECONNREFUSED, EHOSTUNREACH, ...), 0 before there is one.
    int systemError() const { return m_error; }

private:
    void note(int error);

    int m_descriptor = -1;
    int m_error = 0;
};

} // namespace VESK
