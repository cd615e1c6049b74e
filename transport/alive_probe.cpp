#include "transport/alive_probe.h"

#include "transport/udt_socket.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <array>
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

} // namespace

AliveProbe::AliveProbe(const SocketAddress &peer)
    : m_descriptor(::socket(peer.family(), SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    // Without a way there, nothing is ever answered.
    if (m_descriptor >= 0)
        (void)::connect(m_descriptor, peer.data(), peer.size());
}

AliveProbe::~AliveProbe()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void AliveProbe::ask()
{
    const Packet packet = cookieRequest();
    if (m_descriptor >= 0)
        (void)::send(m_descriptor, packet.data(), sizeof packet, MSG_NOSIGNAL);
}

bool AliveProbe::isAnswered()
{
    constexpr int atOnce = 64; // more than were asked for
    bool isAnswered = false;
    for (int i = 0; i < atOnce; ++i) {
        Packet packet{};
        const ssize_t count = ::recv(m_descriptor, packet.data(), sizeof packet, 0);
        if (count == static_cast<ssize_t>(sizeof packet))
            isAnswered = isAnswered || ntohl(packet[0]) == handshakePacket;
        else if (count <= 0)
            break;
    }
    return isAnswered;
}

} // namespace VESK
