#include "transport/alive_probe.h"

#include "tests/faults/support/udp_relay.h"
#include "tests/support/udt_ports.h"

#include <gtest/gtest.h>

#include <netinet/in.h>

#include <chrono>
#include <thread>

using namespace VESK;
using namespace VESK::Test;

namespace
{

using namespace std::chrono_literals;

// A path to the test program's listener.
class AliveProbeTest : public testing::Test
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
    AliveProbe m_probe{
        SocketAddress(reinterpret_cast<const sockaddr *>(&m_relay.address()), sizeof m_relay.address())};
};

TEST_F(AliveProbeTest, IsAnsweredByAPortThatListensOnceForEachQuestion)
{
    EXPECT_FALSE(m_probe.isAnswered());
    m_probe.ask();
    EXPECT_TRUE(isAnswered(20s));
    EXPECT_FALSE(m_probe.isAnswered());
    m_probe.ask();
    EXPECT_TRUE(isAnswered(20s));
}

TEST_F(AliveProbeTest, IsNotAnsweredThroughALineThatIsCut)
{
    m_relay.cut();
    m_probe.ask();
    EXPECT_FALSE(isAnswered(200ms));
    m_relay.mend();
    m_probe.ask();
    EXPECT_TRUE(isAnswered(20s));
}

TEST_F(AliveProbeTest, LeavesNoConnectionBehind)
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
