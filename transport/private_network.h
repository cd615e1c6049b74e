#pragma once

#include "transport/socket_address.h"

namespace VESK
{

/// Is an address loopback, or of the ranges for networks of one's own, which the world does not reach? The
/// wildcard is not.
bool isPrivate(const SocketAddress &address);

} // namespace VESK
