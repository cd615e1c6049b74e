#include "transport/port_probe.h"

#include "tests/faults/support/udp_relay.h"
#include "tests/support/udt_ports.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

using namespace VESK;
using namespace VESK::Test;

namespace
{

using namespace std::chrono_literals;

// A UDP port of 127.0.0.1 that nobody owns, at least for now.
SocketAddress unownedPort()
{
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(::bind(descriptor, reinterpret_cast<sockaddr *>(&address), size), 0);
    EXPECT_EQ(::getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &size), 0);
    ::close(descriptor);
    return SocketAddress(reinterpret_cast<sockaddr *>(&address), size);
}

constexpr int patienceMs = 20000;

// A path to the test program's listener.
class PortProbeTest : public testing::Test
{
protected:
    bool isAnswered(std::chrono::milliseconds limit)
    {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < end) {
            if (m_probe.isAnswered())
                return true;
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    UdpRelay m_relay{*reinterpret_cast<const sockaddr_in *>(listenerAddress()), PathWeather(), 1};
    PortProbe m_probe{
        SocketAddress(reinterpret_cast<const sockaddr *>(&m_relay.address()), sizeof m_relay.address())};
};

TEST_F(PortProbeTest, IsAnsweredByAPortThatListensOnceForEachQuestion)
{
    EXPECT_FALSE(m_probe.isAnswered());
    m_probe.ask();
    EXPECT_TRUE(isAnswered(20s));
    EXPECT_FALSE(m_probe.isAnswered());
    m_probe.ask();
    EXPECT_TRUE(isAnswered(20s));
}

TEST_F(PortProbeTest, IsNotAnsweredThroughALineThatIsCut)
{
    m_relay.cut();
    m_probe.ask();
    EXPECT_FALSE(isAnswered(200ms));
    m_relay.mend();
    m_probe.ask();
    EXPECT_TRUE(isAnswered(20s));
}

TEST_F(PortProbeTest, IsNotRefusedByAPortThatListens)
{
    m_probe.knock();
    m_probe.ask();
    EXPECT_TRUE(isAnswered(20s));
    EXPECT_FALSE(m_probe.isRefused(0));
    EXPECT_EQ(m_probe.systemError(), 0);
}

TEST_F(PortProbeTest, TakesSilenceForNoRefusal)
{
    m_relay.cut();
    m_probe.knock();
    EXPECT_FALSE(m_probe.isRefused(50));
}

TEST(PortProbe, IsRefusedWhereNobodyListens)
{
    PortProbe probe(unownedPort());
    EXPECT_FALSE(probe.isRefused(0));
    probe.knock();
    EXPECT_TRUE(probe.isRefused(patienceMs));
    EXPECT_EQ(probe.systemError(), ECONNREFUSED);
    EXPECT_TRUE(probe.isRefused(0)) << "for good";
}

TEST(PortProbe, IsRefusedWhenItAskedAndLookedForAnAnswerFirst)
{
    PortProbe probe(unownedPort());
    probe.ask();
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (probe.systemError() == 0 && std::chrono::steady_clock::now() < end)
        EXPECT_FALSE(probe.isAnswered());
    EXPECT_TRUE(probe.isRefused(0));
    EXPECT_EQ(probe.systemError(), ECONNREFUSED);
}

TEST_F(PortProbeTest, LeavesNoConnectionBehind)
{
    m_probe.ask();
    ASSERT_TRUE(isAnswered(20s));
    // The next that is accepted is one that was asked for.
    const UDTSOCKET client = newClientSocket();
    ASSERT_NE(UDT::connect(client, listenerAddress(), sizeof(sockaddr_in)), UDT::ERROR);
    sockaddr_in peer{};
    int size = sizeof peer;
    const UDTSOCKET accepted = UDT::accept(listener(), reinterpret_cast<sockaddr *>(&peer), &size);
    ASSERT_NE(accepted, UDT::INVALID_SOCK);
    sockaddr_in local{};
    int localSize = sizeof local;
    ASSERT_NE(UDT::getsockname(client, reinterpret_cast<sockaddr *>(&local), &localSize), UDT::ERROR);
    EXPECT_EQ(peer.sin_port, local.sin_port);
    (void)UDT::close(accepted);
    (void)UDT::close(client);
}

} // namespace
