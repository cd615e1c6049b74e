#include "tests/faults/support/udp_relay.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace VESK::Test
{

namespace
{

constexpr ssize_t shortestPacket = 16; // bytes of UDT; anything shorter asks whether the port is there

int newSocket()
{
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int buffer = 4 << 20; // bytes; what is lost should be what the weather says
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof buffer);
    ::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
    return descriptor;
}

sockaddr *generic(sockaddr_in &address)
{
    return reinterpret_cast<sockaddr *>(&address);
}

} // namespace

// A relay whose sockets fail passes nothing on, which no test survives.
UdpRelay::UdpRelay(const sockaddr_in &server, const PathWeather &weather, std::uint32_t seed)
    : m_weather(weather)
    , m_random(seed)
    , m_clientSide(newSocket())
    , m_serverSide(newSocket())
{
    m_address.sin_family = AF_INET;
    m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof m_address;
    (void)::bind(m_clientSide, generic(m_address), size);
    (void)::getsockname(m_clientSide, generic(m_address), &size);
    sockaddr_in peer = server;
    (void)::connect(m_serverSide, generic(peer), sizeof peer);
    m_thread = std::thread([this] { run(); });
}

UdpRelay::~UdpRelay()
{
    m_isEnding = true;
    m_thread.join();
    ::close(m_clientSide);
    ::close(m_serverSide);
}

void UdpRelay::run()
{
    constexpr std::chrono::milliseconds longest(20); // between looks at m_isEnding
    while (!m_isEnding) {
        Clock::duration pause = longest;
        if (!m_waiting.empty())
            pause = std::min(pause, m_waiting.begin()->first - Clock::now());
        const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(pause).count();
        const timespec timeout{0, std::max<long>(nanoseconds, 0)};
        std::array<pollfd, 2> entries{{{m_clientSide, POLLIN, 0}, {m_serverSide, POLLIN, 0}}};
        (void)::ppoll(entries.data(), entries.size(), &timeout, nullptr);
        receive(m_clientSide, true);
        receive(m_serverSide, false);
        sendDue();
    }
}

void UdpRelay::receive(int descriptor, bool toServer)
{
    constexpr int atOnce = 64; // then it is time to send again
    std::array<char, 65536> buffer;
    for (int i = 0; i < atOnce; ++i) {
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t count = ::recvfrom(descriptor, buffer.data(), buffer.size(), 0, generic(from), &size);
        if (count < 0)
            return;
        if (toServer && count >= shortestPacket)
            m_client = from;
        accept({toServer, {buffer.data(), buffer.data() + count}});
    }
}

void UdpRelay::accept(Datagram datagram)
{
    if (m_isCut || happens(m_weather.loss)) {
        ++m_lost;
        return;
    }
    auto due = Clock::now();
    if (!passesLine(datagram, &due)) {
        ++m_lost;
        return;
    }
    due += m_weather.delay;
    if (m_weather.jitter.count() > 0)
        due += std::chrono::microseconds(
            std::uniform_int_distribution<std::int64_t>(0, m_weather.jitter.count())(m_random));
    if (happens(m_weather.duplication))
        m_waiting.emplace(due, datagram);
    const bool isLate = happens(m_weather.reordering);
    m_waiting.emplace(isLate ? due + m_weather.lateness : due, std::move(datagram));
}

void UdpRelay::sendDue()
{
    while (!m_waiting.empty() && m_waiting.begin()->first <= Clock::now()) {
        const Datagram &datagram = m_waiting.begin()->second;
        // One that the system does not take is lost, like any other.
        if (datagram.toServer)
            (void)::send(m_serverSide, datagram.bytes.data(), datagram.bytes.size(), MSG_NOSIGNAL);
        else
            (void)::sendto(m_clientSide, datagram.bytes.data(), datagram.bytes.size(), MSG_NOSIGNAL,
                           generic(m_client), sizeof m_client);
        m_waiting.erase(m_waiting.begin());
    }
}

// `out`: now, and when the datagram has left the line afterwards. False when the queue is full.
bool UdpRelay::passesLine(const Datagram &datagram, Clock::time_point *out)
{
    if (m_weather.bytesPerSecond <= 0)
        return true;
    Clock::time_point &lineFree = m_lineFree[datagram.toServer ? 1 : 0];
    if (lineFree > *out + m_weather.queue)
        return false;
    const std::chrono::duration<double> time(static_cast<double>(datagram.bytes.size())
                                             / m_weather.bytesPerSecond);
    lineFree = std::max(lineFree, *out) + std::chrono::duration_cast<Clock::duration>(time);
    *out = lineFree;
    return true;
}

bool UdpRelay::happens(double share)
{
    return std::uniform_real_distribution<>(0, 1)(m_random) < share;
}

} // namespace VESK::Test
