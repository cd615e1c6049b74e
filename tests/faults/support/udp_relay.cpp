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

constexpr int datagramsAtOnce = 64; // then it is time to send again

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
    , m_server(server)
    , m_clientSide(newSocket())
{
    m_address.sin_family = AF_INET;
    m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof m_address;
    (void)::bind(m_clientSide, generic(m_address), size);
    (void)::getsockname(m_clientSide, generic(m_address), &size);
    m_thread = std::thread([this] { run(); });
}

UdpRelay::~UdpRelay()
{
    m_isEnding = true;
    m_thread.join();
    ::close(m_clientSide);
    for (const Client &client : m_clients)
        ::close(client.serverSide);
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
        std::vector<pollfd> entries{{m_clientSide, POLLIN, 0}};
        for (const Client &client : m_clients)
            entries.push_back({client.serverSide, POLLIN, 0});
        (void)::ppoll(entries.data(), entries.size(), &timeout, nullptr);
        receiveFromClients();
        for (std::size_t client = 0; client < m_clients.size(); ++client)
            receiveFromServer(client);
        sendDue();
    }
}

void UdpRelay::receiveFromClients()
{
    std::array<char, 65536> buffer;
    for (int i = 0; i < datagramsAtOnce; ++i) {
        sockaddr_in from{};
        socklen_t size = sizeof from;
        const ssize_t count = ::recvfrom(m_clientSide, buffer.data(), buffer.size(), 0, generic(from), &size);
        if (count < 0)
            return;
        accept({true, clientAt(from), {buffer.data(), buffer.data() + count}});
    }
}

void UdpRelay::receiveFromServer(std::size_t client)
{
    std::array<char, 65536> buffer;
    for (int i = 0; i < datagramsAtOnce; ++i) {
        const ssize_t count = ::recv(m_clients[client].serverSide, buffer.data(), buffer.size(), 0);
        if (count < 0)
            return;
        accept({false, client, {buffer.data(), buffer.data() + count}});
    }
}

std::size_t UdpRelay::clientAt(const sockaddr_in &address)
{
    const auto found = std::find_if(m_clients.begin(), m_clients.end(), [&](const Client &client) {
        return client.address.sin_port == address.sin_port; // all are on 127.0.0.1
    });
    if (found != m_clients.end())
        return static_cast<std::size_t>(found - m_clients.begin());
    m_clients.push_back({address, newSocket()});
    sockaddr_in server = m_server;
    (void)::connect(m_clients.back().serverSide, generic(server), sizeof server);
    return m_clients.size() - 1;
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
        Client &client = m_clients[datagram.client];
        // One that the system does not take is lost, like any other.
        if (datagram.toServer)
            (void)::send(client.serverSide, datagram.bytes.data(), datagram.bytes.size(), MSG_NOSIGNAL);
        else
            (void)::sendto(m_clientSide, datagram.bytes.data(), datagram.bytes.size(), MSG_NOSIGNAL,
                           generic(client.address), sizeof client.address);
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
