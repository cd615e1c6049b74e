#include "transport/udp_port.h"

#include "transport/handshake_filter.h"
#include "transport/kernel_buffers.h"

#include <unistd.h>

#include <cerrno>

namespace VESK
{

bool bindUdpPort(const UdtSocket &socket, const SocketAddress &address, const TransportOptions &options,
                 QString *error)
{
    const int port = ::socket(address.family(), SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (port < 0 || !attachHandshakeFilter(port) || ::bind(port, address.data(), address.size()) != 0) {
        *error = qt_error_string(errno);
        if (port >= 0)
            ::close(port);
        return false;
    }
    if (UDT::bind2(socket.id(), port) == UDT::ERROR) {
        *error = QString::fromLocal8Bit(UDT::getlasterror().getErrorMessage()).trimmed();
        ::close(port);
        return false;
    }
    raiseKernelBuffers(port, options); // after the library, which asks for what the limits allow
    return true; // the port is the library's now
}

} // namespace VESK
