#pragma once

#include "transport/socket_address.h"

namespace VESK
{

/// Tells whether a listening UDT port still answers, while a connection to it has nothing to say for minutes:
/// a plain UDP socket that sends the first packet of a handshake. The port's own thread answers that at once
/// with a cookie, whatever its connections are doing, and keeps nothing of it. For one thread.
class AliveProbe
{
public:
    explicit AliveProbe(const SocketAddress &peer);
    ~AliveProbe();
    AliveProbe(const AliveProbe &) = delete;
    AliveProbe &operator=(const AliveProbe &) = delete;

    /// Sends one request, 64 bytes. What is lost is lost.
    void ask();

    /// Has an answer come since the last call? Does not wait.
    bool isAnswered();

private:
    int m_descriptor = -1;
};

} // namespace VESK
