#pragma once

#include "transport/socket_address.h"

#include <udt/udt.h>

#include <string>

namespace VESK::Test
{

/// 127.0.0.1 with a port.
SocketAddress loopback(quint16 port);

/// The same bytes for the same size.
std::string someBytes(int size);

/// What arrives until there are `size` bytes, or until the connection ends.
std::string receiveAll(UDTSOCKET socket, int size);

/// False when the connection ended before.
[[nodiscard]] bool sendAll(UDTSOCKET socket, const std::string &bytes);

} // namespace VESK::Test
