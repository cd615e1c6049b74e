#pragma once

#include "transport/udt_socket.h"

namespace VESK
{

/// What the system grants a UDP socket less than the transport asks for.
struct KernelBufferShortage {
    qint64 limit = 0; ///< bytes; the smaller one of what is granted for receiving and for sending
    QString command; ///< what root types to change it; empty when nothing is wanting or it cannot be told
};

KernelBufferShortage kernelBufferShortage(const TransportOptions &options);

} // namespace VESK
