#include "host/doctor/packet_probe.h"

#include "vesk_base/frame.h"
#include "vesk_base/message_kind.h"

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>
#include <QtCore/QThread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace VESK::Host
{

namespace
{

constexpr int headersInPacket = 44; // bytes of a packet that are no payload: IPv4, UDP and the transport
constexpr int udpHeader = 8; // bytes
constexpr qint64 arrivalLimitMs = 3000; // several repetitions, on a line of up to a second
constexpr unsigned long pollMs = 10;
constexpr int routerAnswerMs = 300;
constexpr int routerRounds = 4; // each may meet a narrower link

// The beginning of a message that is longer than the packet, so that the server waits for its rest and says
// nothing. It learns of the end when the connection is closed.
QByteArray filler(int size)
{
    const QString text(size, QLatin1Char(' '));
    const std::optional<QByteArray> frame = writeFrame(number(MessageKind::FirstOfHost), text);
    return frame ? frame->left(size) : QByteArray();
}

bool waitForArrival(UDTSOCKET socket)
{
    QElapsedTimer timer;
    timer.start();
    while (unsentBytes(socket) > 0 && timer.elapsed() < arrivalLimitMs)
        QThread::msleep(pollMs);
    return unsentBytes(socket) == 0 && UDT::getsockstate(socket) == CONNECTED;
}

int systemPathLimit(int descriptor, int family)
{
    int limit = 0;
    socklen_t size = sizeof(limit);
    const bool isIpv6 = family == AF_INET6;
    const int level = isIpv6 ? IPPROTO_IPV6 : IPPROTO_IP;
    return ::getsockopt(descriptor, level, isIpv6 ? IPV6_MTU : IP_MTU, &limit, &size) == 0 ? limit : 0;
}

void forbidFragments(int descriptor, int family)
{
    const bool isIpv6 = family == AF_INET6;
    // NOLINTNEXTLINE(bugprone-branch-clone): the two happen to have one value
    const int how = isIpv6 ? IPV6_PMTUDISC_DO : IP_PMTUDISC_DO;
    const int level = isIpv6 ? IPPROTO_IPV6 : IPPROTO_IP;
    // Without it the datagrams are broken up on the way, and the limit stays that of this machine.
    (void)::setsockopt(descriptor, level, isIpv6 ? IPV6_MTU_DISCOVER : IP_MTU_DISCOVER, &how, sizeof(how));
}

} // namespace

std::optional<PacketProbe::Trial> PacketProbe::send(int size)
{
    TransportOptions options;
    options.packetSize = size;
    m_connectors.push_back(std::make_unique<Connector>(options));
    ConnectFailure failure;
    UdtSocket socket = m_connectors.back()->connect(m_server, &failure);
    if (!socket.isValid())
        return std::nullopt;
    Trial trial;
    trial.size = negotiatedPacketSize(socket.id());
    const QByteArray bytes = filler(trial.size - headersInPacket);
    if (UDT::send(socket.id(), bytes.constData(), bytes.size(), 0) != bytes.size())
        return std::nullopt;
    trial.arrives = waitForArrival(socket.id());
    return trial;
}

int PacketProbe::pathLimit() const
{
    const int family = m_server.family();
    const int descriptor = ::socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0)
        return 0;
    forbidFragments(descriptor, family);
    int limit = 0;
    if (::connect(descriptor, m_server.data(), m_server.size()) == 0)
        limit = systemPathLimit(descriptor, family);
    const int ipHeader = family == AF_INET6 ? 40 : 20;
    for (int round = 0; round < routerRounds && limit > 0; ++round) {
        // To the transport it is data for a connection that does not exist, which it drops.
        const QByteArray bytes(limit - ipHeader - udpHeader, '\x7f');
        (void)::send(descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size()),
                     MSG_NOSIGNAL); // that it is too long is told by the limit
        QThread::msleep(routerAnswerMs);
        const int narrower = systemPathLimit(descriptor, family);
        if (narrower <= 0 || narrower >= limit)
            break;
        limit = narrower;
    }
    ::close(descriptor);
    return limit;
}

} // namespace VESK::Host
