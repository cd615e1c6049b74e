#include "host/server/guess_delay.h"

#include "tests/support/qt_text.h"

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Host;
using namespace VESK::Test;
using namespace std::chrono_literals;

namespace
{

class GuessDelayTest : public testing::Test
{
protected:
    static SocketAddress address(const QString &host, quint16 port = 4000)
    {
        QString error;
        const auto found = SocketAddress::resolve(host, port, AddressFamily::Any, &error);
        EXPECT_FALSE(found.empty()) << error.toStdString();
        return found.front();
    }

    std::chrono::milliseconds fail(const QString &host, quint16 port = 4000)
    {
        const auto wait = m_delay.begin(address(host, port), m_now);
        return wait ? wait->duration() : -1ms;
    }

    GuessDelay m_delay;
    GuessDelay::Clock::time_point m_now = GuessDelay::Clock::now();
};

TEST_F(GuessDelayTest, DoublesUpToALimit)
{
    for (const auto expected : {250ms, 500ms, 1000ms, 2000ms, 4000ms, 8000ms, 8000ms})
        EXPECT_EQ(fail("192.0.2.7"_s), expected);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(fail("192.0.2.7"_s), 8000ms);
}

TEST_F(GuessDelayTest, IsOfTheAddressWhateverItsPort)
{
    EXPECT_EQ(fail("192.0.2.7"_s, 4000), 250ms);
    EXPECT_EQ(fail("192.0.2.7"_s, 4001), 500ms);
    EXPECT_EQ(fail("192.0.2.8"_s), 250ms);
}

TEST_F(GuessDelayTest, TakesTheNetworkOfAnIpv6AddressForOne)
{
    EXPECT_EQ(fail("2001:db8:1:2::7"_s), 250ms);
    EXPECT_EQ(fail("2001:db8:1:2:3:4:5:6"_s), 500ms);
    EXPECT_EQ(fail("2001:db8:1:3::7"_s), 250ms);
}

TEST_F(GuessDelayTest, IsForgottenAfterAWhile)
{
    EXPECT_EQ(fail("192.0.2.7"_s), 250ms);
    m_now += GuessDelay::memory;
    EXPECT_EQ(fail("192.0.2.7"_s), 500ms);
    m_now += GuessDelay::memory + 1s;
    EXPECT_EQ(fail("192.0.2.7"_s), 250ms);
}

TEST_F(GuessDelayTest, LetsFewWaitAtATime)
{
    std::vector<std::optional<GuessDelay::Wait>> waiting;
    for (int i = 0; i < GuessDelay::maxWaiting; ++i) {
        waiting.push_back(m_delay.begin(address("192.0.2.7"_s), m_now));
        EXPECT_TRUE(waiting.back());
    }
    EXPECT_EQ(fail("192.0.2.7"_s), -1ms);
    EXPECT_EQ(fail("192.0.2.8"_s), 250ms);
    waiting.pop_back();
    EXPECT_NE(fail("192.0.2.7"_s), -1ms);
}

TEST_F(GuessDelayTest, RemembersSoManyAddressesAndNoMore)
{
    EXPECT_EQ(fail("192.0.2.7"_s), 250ms);
    for (std::size_t i = 0; i < GuessDelay::maxAddresses; ++i) {
        m_now += 1ms;
        EXPECT_EQ(fail(QStringLiteral("10.0.%1.%2").arg(i / 256).arg(i % 256)), 250ms);
    }
    EXPECT_EQ(fail("10.0.3.255"_s), 500ms); // the latest is known
    EXPECT_EQ(fail("192.0.2.7"_s), 250ms); // the oldest is not
}

} // namespace
