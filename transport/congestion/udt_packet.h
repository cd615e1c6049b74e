#pragma once

#include <udt/packet.h>

#include <cstddef>

namespace VESK
{

/// The bytes of a packet's data field.
std::size_t packetDataSize(const CPacket &packet);

/// Makes a control packet of `type` over `words`, which travel in network order and must live as long as
/// the packet.
void packControl(CPacket *packet, int type, std::int32_t *words, std::size_t count);

} // namespace VESK
