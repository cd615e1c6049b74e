#include "tests/unit/channel_ends.h"

using namespace VESK;
using namespace VESK::Test;

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int limitBytes = 100;

class MessageLimit : public ChannelEnds
{
protected:
    void limit(milliseconds time) { m_channel.limit(limitBytes, Clock::now() + time); }
};

TEST_F(MessageLimit, LetsTheLongestAllowedMessageThrough)
{
    limit(seconds(20));
    const QString text(limitBytes, 'x');
    ASSERT_TRUE(m_client.send(anyKind, text));
    ASSERT_TRUE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, text);
}

TEST_F(MessageLimit, BreaksTheChannelAtALongerOneBeforeItHasCome)
{
    limit(seconds(60));
    sendRaw(frame(anyKind, QByteArray(), limitBytes + 1));
    const Background call([this] { return m_channel.recv(anyKind, m_text); });
    EXPECT_EQ(call.wait(seconds(10)), false);
    m_pair.closeServer(); // ends a call that waits against expectation
    expectBroken();
}

TEST_F(MessageLimit, EndsTheWaitForASilentPeer)
{
    limit(milliseconds(100));
    const Background call([this] { return m_channel.recv(anyKind, m_text); });
    EXPECT_EQ(call.wait(seconds(10)), false);
    m_pair.closeServer(); // ends a call that waits against expectation
}

TEST_F(MessageLimit, EndsTheWaitForAPeerThatDribbles)
{
    limit(milliseconds(300));
    std::atomic<bool> mayGoOn{true};
    const Background call([this] { return m_channel.recv(anyKind, m_text); });
    const Background dribble([&] {
        sendRaw(frame(anyKind, QByteArray(), limitBytes));
        // Each byte is progress, and comes long before any wait for progress would end.
        for (int sent = 0; sent + 1 < limitBytes && mayGoOn; ++sent) {
            sendRaw("x");
            std::this_thread::sleep_for(milliseconds(50));
        }
    });
    EXPECT_EQ(call.wait(seconds(4)), false); // all of the bytes would take 5 s
    EXPECT_TRUE(m_channel.isBroken());
    mayGoOn = false;
    EXPECT_EQ(dribble.wait(seconds(10)), true);
}

} // namespace
