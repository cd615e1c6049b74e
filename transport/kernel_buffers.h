#pragma once

#include "transport/udt_socket.h"

namespace VESK
{

/// What the system grants a UDP socket less than the transport asks for.
struct KernelBufferShortage {
    qint64 limit = 0; ///< bytes; the smaller one of what is granted for receiving and for sending
    QString command; ///< what root types to change it; empty when nothing is wanting or it cannot be told
};

/// As a socket of this process would find it.
KernelBufferShortage kernelBufferShortage(const TransportOptions &options);

/// Gives a UDP socket the buffers that the options ask for, as far as the system lets it: past its limits
/// where the process may do that (Linux: with CAP_NET_ADMIN, as root has it).
void raiseKernelBuffers(int socket, const TransportOptions &options);

} // namespace VESK
