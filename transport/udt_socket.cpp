#include "transport/udt_socket.h"

#include "transport/congestion/vesk_congestion_control.h"
#include <cstdint>

namespace VESK
{

namespace
{

constexpr int packetOverhead = 44; // bytes of a packet that are IP, UDP and UDT headers

template <typename Value>
bool setOption(UDTSOCKET socket, UDTOpt option, const Value &value)
{
    return UDT::setsockopt(socket, 0, option, &value, sizeof(value)) != UDT::ERROR;
}

bool setCongestion(UDTSOCKET socket, Congestion congestion)
{
    if (congestion == Congestion::Udt)
        return true; // what a socket is born with
    CCCFactory<VeskCongestionControl> factory; // the library copies it
    return UDT::setsockopt(socket, 0, UDT_CC, &factory, sizeof(factory)) != UDT::ERROR;
}

// The order matters: UDP_SNDBUF caps the packet size, and UDT's own buffers are kept as counts of packets
// of the size set at that moment, the receive buffer being cut to the flow window.
bool applyOptions(UDTSOCKET socket, const TransportOptions &options)
{
    return setOption(socket, UDP_SNDBUF, options.udpSendBuffer)
        && setOption(socket, UDP_RCVBUF, options.udpReceiveBuffer)
        && setOption(socket, UDT_MSS, options.packetSize) && setOption(socket, UDT_FC, options.flowWindow)
        && setOption(socket, UDT_SNDBUF, options.sendBuffer)
        && setOption(socket, UDT_RCVBUF, options.receiveBuffer) && setCongestion(socket, options.congestion);
}

using NameCall = int (*)(UDTSOCKET, sockaddr *, int *);

SocketAddress addressOf(UDTSOCKET socket, NameCall call)
{
    sockaddr_storage storage{};
    int size = sizeof(storage);
    if (call(socket, reinterpret_cast<sockaddr *>(&storage), &size) == UDT::ERROR)
        return SocketAddress();
    return SocketAddress(reinterpret_cast<const sockaddr *>(&storage), static_cast<socklen_t>(size));
}

} // namespace

UdtSocket &UdtSocket::operator=(UdtSocket &&other) noexcept
{
    if (this != &other) {
        close();
        m_id = other.release();
    }
    return *this;
}

UdtSocket UdtSocket::create(int family, const TransportOptions &options)
{
    UdtSocket socket(UDT::socket(family, SOCK_STREAM, 0));
    if (!socket.isValid() || !applyOptions(socket.id(), options))
        return UdtSocket();
    setLinger(socket.id(), 0);
    return socket;
}

void UdtSocket::close()
{
    if (isValid())
        (void)UDT::close(release()); // closed already is as good
}

UDTSOCKET UdtSocket::release()
{
    const UDTSOCKET id = m_id;
    m_id = UDT::INVALID_SOCK;
    return id;
}

SocketAddress UdtSocket::localAddress() const
{
    return addressOf(m_id, &UDT::getsockname);
}

SocketAddress UdtSocket::peerAddress() const
{
    return addressOf(m_id, &UDT::getpeername);
}

void setLinger(UDTSOCKET socket, int seconds)
{
    linger value{};
    value.l_onoff = seconds > 0 ? 1 : 0;
    value.l_linger = seconds;
    (void)setOption(socket, UDT_LINGER, value); // a socket that is gone needs none
}

void setBlocking(UDTSOCKET socket, bool isBlocking)
{
    (void)setOption(socket, UDT_RCVSYN, isBlocking); // as above
    (void)setOption(socket, UDT_SNDSYN, isBlocking);
}

void setReceiveLimit(UDTSOCKET socket, int milliseconds)
{
    (void)setOption(socket, UDT_RCVTIMEO, milliseconds); // as above
}

void setRateLimit(UDTSOCKET socket, qint64 bytesPerSecond)
{
    const std::int64_t limit = bytesPerSecond > 0 ? bytesPerSecond : -1;
    (void)setOption(socket, UDT_MAXBW, limit); // as above
}

int negotiatedPacketSize(UDTSOCKET socket)
{
    int size = 0;
    int length = sizeof(size);
    return UDT::getsockopt(socket, 0, UDT_MSS, &size, &length) == UDT::ERROR ? 0 : size;
}

qint64 unsentBytes(UDTSOCKET socket)
{
    int packets = 0; // that is what the library counts, whatever the option's name says
    int length = sizeof(packets);
    if (UDT::getsockopt(socket, 0, UDT_SNDDATA, &packets, &length) == UDT::ERROR)
        return 0;
    return static_cast<qint64>(packets) * qMax(0, negotiatedPacketSize(socket) - packetOverhead);
}

qint64 receivedPackets(UDTSOCKET socket)
{
    UDT::TRACEINFO info{};
    return UDT::perfmon(socket, &info, false) == UDT::ERROR ? -1 : info.pktRecvTotal;
}

} // namespace VESK
