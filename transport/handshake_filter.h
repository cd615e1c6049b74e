#pragma once

namespace VESK
{

/// Lets the system drop, on a UDP socket that UDT is going to use, every connection request or answer that
/// would harm the library before a program could look at it: packet sizes that leave no room for data (the
/// library divides by that room) or exceed a datagram, and flow windows that it would take as a table size,
/// be it no entry or hundreds of megabytes. All else passes. False when the system refuses; where there is
/// no such filter, nothing happens and it is true.
[[nodiscard]] bool attachHandshakeFilter(int udpSocket);

} // namespace VESK
