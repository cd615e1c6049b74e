#include "transport/connector.h"

#include "tests/faults/support/udp_relay.h"
#include "tests/support/udt_ports.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <vector>

using namespace VESK;
using namespace VESK::Test;

namespace
{

// A UDP port of 127.0.0.1 that takes everything and says nothing.
class SilentPort
{
public:
    SilentPort()
        : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        (void)::bind(m_descriptor, reinterpret_cast<sockaddr *>(&address), size);
        (void)::getsockname(m_descriptor, reinterpret_cast<sockaddr *>(&address), &size);
        m_address = SocketAddress(reinterpret_cast<sockaddr *>(&address), size);
    }
    ~SilentPort() { ::close(m_descriptor); }
    SilentPort(const SilentPort &) = delete;
    SilentPort &operator=(const SilentPort &) = delete;

    const SocketAddress &address() const { return m_address; }

private:
    const int m_descriptor;
    SocketAddress m_address;
};

bool connects(Connector &connector, const SocketAddress &address, ConnectFailure::Kind *kind = nullptr)
{
    ConnectFailure failure;
    const UdtSocket socket = connector.connect(address, &failure);
    if (kind)
        *kind = failure.kind;
    return socket.isValid();
}

TEST(Connector, ConnectsOverALongLineAfterNobodyHasAnswered)
{
    constexpr int sideBySide = 4;
    Connector connector{TransportOptions()};
    {
        const SilentPort silent;
        std::vector<std::future<ConnectFailure::Kind>> attempts;
        for (int i = 0; i < sideBySide; ++i)
            attempts.push_back(std::async(std::launch::async, [&] {
                auto kind = ConnectFailure::Kind::Local;
                EXPECT_FALSE(connects(connector, silent.address(), &kind));
                return kind;
            }));
        for (auto &attempt : attempts)
            EXPECT_EQ(attempt.get(), ConnectFailure::Kind::NoAnswer);
    }
    PathWeather weather;
    weather.delay = std::chrono::milliseconds(200);
    const UdpRelay relay(*reinterpret_cast<const sockaddr_in *>(listenerAddress()), weather, 1);
    const SocketAddress far(reinterpret_cast<const sockaddr *>(&relay.address()), sizeof relay.address());
    for (int i = 0; i < 2 * sideBySide; ++i)
        EXPECT_TRUE(connects(connector, far)) << i;
}

} // namespace
