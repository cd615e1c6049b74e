#pragma once

#include <udt/udt.h>

#include <cstdint>

namespace VESK
{

// What one UDT call sends begins a new packet. When it ends with a full one, the receiver learns of that only
// by a timer, 0.1 s late, since nothing tells it that no more is to come. A last byte that is sent by itself
// avoids that.

/// Data bytes in a full packet of this connection.
inline int packetPayload(UDTSOCKET socket)
{
    constexpr int overhead = 44; // bytes of a packet that carry no data: IP, UDP, UDT
    constexpr int defaultPacketSize = 1500; // UDT's own default for UDT_MSS
    int packetSize = 0;
    int size = sizeof packetSize;
    if (UDT::getsockopt(socket, 0, UDT_MSS, &packetSize, &size) == UDT::ERROR || packetSize <= overhead)
        packetSize = defaultPacketSize;
    return packetSize - overhead;
}

/// Would `size` bytes, sent by one call, end with a full packet?
constexpr bool endsWithFullPacket(std::int64_t size, int payload)
{
    return size > 1 && size % payload == 0;
}

} // namespace VESK
