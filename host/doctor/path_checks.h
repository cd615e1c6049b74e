#pragma once

#include "host/address.h"
#include "host/doctor/finding.h"
#include "host/hello/client_hello.h"
#include "transport/socket_address.h"

#include <functional>

namespace VESK::Host
{

/// What the packet sizes amount to. Bytes on the wire.
struct PacketFacts {
    int wanted = 0; ///< what transfers use unless told otherwise
    int agreed = 0; ///< of it, what the server takes
    int largestThatPassed = 0; ///< 0 when none did
    int pathLimit = 0; ///< what the way is known to carry; 0 when not known
};
Finding judgePackets(const PacketFacts &facts);

/// Follows the way to a server step by step, and hands over each finding as it is made: its name, whether it
/// answers, how it says hello to `visitor`, how large packets may be. `packetSize` as of --mtu. Each step
/// needs the one before, but for the last. For one thread; the transport is started.
void checkPath(const RemoteAddress &remote, AddressFamily family, int packetSize, const Visitor &visitor,
               const std::function<void(const Finding &)> &tell);

} // namespace VESK::Host
