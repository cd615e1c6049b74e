#include "transport/listener.h"

#include "transport/udp_port.h"

namespace VESK
{

namespace
{

constexpr int backlog = 256; // connections that wait for accept; a further one is turned away

QString lastErrorText()
{
    return QString::fromLocal8Bit(UDT::getlasterror().getErrorMessage()).trimmed();
}

} // namespace

Listener::Listener(const TransportOptions &options)
    : m_options(options)
{
}

bool Listener::open(const SocketAddress &address, QString *error)
{
    m_socket = UdtSocket::create(address.family(), m_options);
    if (m_socket.isValid() && !bindUdpPort(m_socket, address, m_options, error))
        return false;
    if (m_socket.isValid() && UDT::listen(m_socket.id(), backlog) != UDT::ERROR)
        return true;
    *error = lastErrorText();
    return false;
}

UdtSocket Listener::accept(SocketAddress *peer)
{
    sockaddr_storage storage{};
    int size = sizeof(storage);
    UdtSocket socket(UDT::accept(m_socket.id(), reinterpret_cast<sockaddr *>(&storage), &size));
    if (!socket.isValid() || negotiatedPacketSize(socket.id()) < minPacketSize)
        return UdtSocket();
    *peer = socket.peerAddress();
    return socket;
}

bool Listener::isOpen() const
{
    return m_socket.isValid() && UDT::getsockstate(m_socket.id()) == LISTENING;
}

void Listener::close()
{
    (void)UDT::close(m_socket.id()); // the number stays for a waiting accept, which then fails
}

} // namespace VESK
