#include "transport/port_probe.h"

#include "transport/udt_socket.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace VESK
{

namespace
{

// The packets of UDT 4, in words of 32 bits with the highest byte first: a header of four, then the
// handshake.
constexpr std::uint32_t handshakePacket = 0x80000000;
constexpr std::uint32_t nobody = 0; // a request is for the port, not for one of its connections
constexpr std::uint32_t ownId = 1; // of the socket that the answer is for: we have but one
constexpr std::uint32_t udtVersion = 4;
constexpr std::uint32_t streamType = 1;
constexpr std::uint32_t request = 1; // of a cookie; the connection is asked for with the next

using Packet = std::array<std::uint32_t, 16>;

Packet cookieRequest()
{
    const TransportOptions usual;
    Packet packet{handshakePacket,
                  0,
                  0, // time
                  nobody,
                  udtVersion,
                  streamType,
                  1, // first sequence number
                  static_cast<std::uint32_t>(usual.packetSize),
                  static_cast<std::uint32_t>(usual.flowWindow),
                  request,
                  ownId};
    for (std::uint32_t &word : packet)
        word = htonl(word);
    return packet;
}

// Nothing that the network answered.
bool isOfThisMoment(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS || error == EINTR;
}

} // namespace

PortProbe::PortProbe(const SocketAddress &peer)
    : m_descriptor(::socket(peer.family(), SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    if (m_descriptor >= 0 && ::connect(m_descriptor, peer.data(), peer.size()) != 0)
        note(errno);
}

PortProbe::~PortProbe()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void PortProbe::knock()
{
    const char byte = 0;
    send(&byte, sizeof byte);
}

void PortProbe::ask()
{
    const Packet packet = cookieRequest();
    send(packet.data(), sizeof packet);
}

bool PortProbe::isRefused(int waitMs)
{
    if (m_error != 0)
        return true;
    pollfd entry{m_descriptor, 0, 0}; // errors are always reported, and without a socket time passes
    if (::poll(&entry, 1, waitMs) <= 0)
        return false;
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(m_descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0)
        note(error);
    return m_error != 0;
}

bool PortProbe::isAnswered()
{
    constexpr int atOnce = 64; // more than were asked for
    bool isAnswered = false;
    for (int i = 0; m_descriptor >= 0 && i < atOnce; ++i) {
        Packet packet{};
        const ssize_t count = ::recv(m_descriptor, packet.data(), sizeof packet, 0);
        if (count < 0 && isOfThisMoment(errno))
            break;
        if (count < 0)
            note(errno); // answers may stand behind it
        else if (count == static_cast<ssize_t>(sizeof packet))
            isAnswered = isAnswered || ntohl(packet[0]) == handshakePacket;
    }
    return isAnswered;
}

void PortProbe::send(const void *data, std::size_t size)
{
    if (m_descriptor >= 0 && ::send(m_descriptor, data, size, MSG_NOSIGNAL) < 0)
        note(errno); // the answer to an earlier datagram may be told here
}

void PortProbe::note(int error)
{
    // The first says why, those after it that the socket is of no use.
    if (m_error == 0 && !isOfThisMoment(error))
        m_error = error;
}

} // namespace VESK
