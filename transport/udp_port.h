#pragma once

#include "transport/udt_socket.h"

namespace VESK
{

/// Binds `socket` to a UDP port of its own at `address`, port 0 meaning any free one; the port takes no
/// harmful handshakes (handshake_filter.h) and has the buffers of `options` (kernel_buffers.h); other UDT
/// sockets may be bound to it afterwards. False on failure, with the system's or the library's reason in
/// `error`.
[[nodiscard]] bool bindUdpPort(const UdtSocket &socket, const SocketAddress &address,
                               const TransportOptions &options, QString *error);

} // namespace VESK
