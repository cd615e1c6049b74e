#include "tests/unit/channel_ends.h"

#include "vesk_base/vesk_base.h"

#include <thread>

using namespace VESK;
using namespace VESK::Test;

namespace
{

// Beyond all buffers. Not made before it is wanted: every case of this program is a process of its own.
QString endless()
{
    return QString(maxListPayload, QLatin1Char('x'));
}

/// How soon a stop ends a call: 50 ms, a busy machine, and below the 2 s that a remembered stop grants.
constexpr milliseconds promptly(1500);

/// Waits until a call of the channel has begun.
void waitUntilActive(const StopFlags &flags)
{
    while (!flags.active)
        std::this_thread::yield();
}

/// Waits until there is something to read; false when nothing comes for long.
bool beginsToArrive(UDTSOCKET socket)
{
    const auto end = std::chrono::steady_clock::now() + seconds(20);
    while (socketOption<int>(socket, UDT_RCVDATA) == 0) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

void stop(StopFlags &flags)
{
    flags.stopRequested = true;
    flags.active = false;
}

using Stop = ChannelEnds;

TEST_F(Stop, EndsAWaitForAMessage)
{
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    waitUntilActive(m_flags);
    stop(m_flags);
    EXPECT_EQ(receiver.wait(promptly), false);
    EXPECT_EQ(m_channel.lastErrorCode(), 0);
}

TEST_F(Stop, BeforeTheFirstByteLeavesTheStreamInStep)
{
    {
        const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
        waitUntilActive(m_flags);
        stop(m_flags);
        ASSERT_EQ(receiver.wait(promptly), false);
    }
    EXPECT_FALSE(m_channel.isBroken());
    sendRaw(frame(anyKind, "still due"));
    ASSERT_TRUE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "still due"_s);
}

TEST_F(Stop, WithinAMessageBreaksTheChannel)
{
    sendRaw(frame(anyKind, "x", 2));
    {
        const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
        ASSERT_TRUE(waitUntilDelivered(m_pair.client()));
        ASSERT_TRUE(waitUntilRead(m_pair.server()));
        stop(m_flags);
        ASSERT_EQ(receiver.wait(promptly), false);
    }
    expectBroken();
}

TEST_F(Stop, EndsASendThatThePeerDoesNotTake)
{
    {
        const Background sender([&] { return m_channel.send(number(MessageKind::ListContent), endless()); });
        // No sooner: of a long listing the frame is made first, and a stop meanwhile sends nothing.
        ASSERT_TRUE(beginsToArrive(m_pair.client()));
        EXPECT_FALSE(sender.wait(milliseconds(500)));
        stop(m_flags);
        EXPECT_EQ(sender.wait(promptly), false);
    }
    expectBroken();
}

TEST_F(Stop, WhileTheFrameIsMadeSendsNothing)
{
    // On a busy machine one may come too late for that, but not every time.
    for (int attempt = 0; attempt < 20; ++attempt) {
        const UdtPair pair;
        MessageChannel channel(pair.server(), &m_flags);
        const Background sender([&] { return channel.send(number(MessageKind::ListContent), endless()); });
        while (!sender.wait(milliseconds(0)))
            m_flags.active = false;
        ASSERT_EQ(sender.wait(milliseconds(0)), false);
        if (channel.isBroken())
            continue; // in the middle of the message
        MessageChannel client(pair.client());
        ASSERT_TRUE(channel.send(anyKind, "first"_s));
        ASSERT_TRUE(client.recv(anyKind, m_text));
        EXPECT_EQ(m_text, "first"_s);
        return;
    }
    FAIL() << "every stop was too late";
}

TEST_F(Stop, BetweenTwoCallsLetsADueMessageThrough)
{
    stop(m_flags);
    ASSERT_TRUE(m_channel.send(anyKind, "verdict"_s));
    ASSERT_TRUE(m_client.recv(anyKind, m_text));
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    waitUntilActive(m_flags);
    EXPECT_FALSE(receiver.wait(milliseconds(300)));
    sendRaw(frame(anyKind, "answer"));
    EXPECT_EQ(receiver.wait(seconds(5)), true);
    EXPECT_EQ(m_text, "answer"_s);
}

TEST_F(Stop, BetweenTwoCallsBoundsTheNextWait)
{
    stop(m_flags);
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    EXPECT_FALSE(receiver.wait(seconds(1)));
    EXPECT_EQ(receiver.wait(seconds(5)), false);
    EXPECT_FALSE(m_channel.isBroken());
}

TEST_F(Stop, ThatNobodyAskedForBoundsNoWait)
{
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    waitUntilActive(m_flags);
    EXPECT_FALSE(receiver.wait(milliseconds(2500))) << "longer than the next wait after a stop";
    sendRaw(frame(anyKind, "late"));
    EXPECT_EQ(receiver.wait(seconds(5)), true);
    EXPECT_EQ(m_text, "late"_s);
}

TEST_F(Stop, BetweenTwoCallsBoundsTheNextSend)
{
    stop(m_flags);
    const Background sender([&] { return m_channel.send(number(MessageKind::ListContent), endless()); });
    EXPECT_EQ(sender.wait(seconds(15)), false); // after the buffers have filled
}

TEST_F(Stop, ByTheActivityFlagAloneEndsOneCallOnly)
{
    for (int round = 0; round < 3; ++round) {
        const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
        waitUntilActive(m_flags);
        m_flags.active = false;
        ASSERT_EQ(receiver.wait(promptly), false);
    }
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    EXPECT_FALSE(receiver.wait(seconds(3))); // longer than what a remembered stop grants
    sendRaw(frame(anyKind, "x"));
    EXPECT_EQ(receiver.wait(seconds(5)), true);
}

TEST_F(Stop, ClosingTheSocketEndsAWait)
{
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    waitUntilActive(m_flags);
    m_pair.closeServer();
    EXPECT_EQ(receiver.wait(seconds(5)), false);
    EXPECT_NE(m_channel.lastErrorCode(), 0);
}

/// What a handler can do to its base.
class Stoppable : public VeskBase
{
public:
    explicit Stoppable(UDTSOCKET socket)
    {
        presetParam("endPoint"_s, "server"_s);
        presetParam("serverSocket"_s, QString::number(socket));
    }
    using VeskBase::clearActivity;
    using VeskBase::requestStop;
};

TEST_F(Stop, OfAHandlerEndsItsWait)
{
    Stoppable handler(m_pair.server());
    const Background receiver([&] { return handler.recv(anyKind, m_text); });
    EXPECT_FALSE(receiver.wait(milliseconds(200)));
    handler.requestStop();
    EXPECT_EQ(receiver.wait(seconds(5)), false); // the call may only have begun afterwards
}

TEST_F(Stop, OfAHandlerEndsItsWaitPromptly)
{
    Stoppable handler(m_pair.server());
    sendRaw(frame(anyKind, "x", 2));
    const Background receiver([&] { return handler.recv(anyKind, m_text); });
    ASSERT_TRUE(waitUntilDelivered(m_pair.client()));
    ASSERT_TRUE(waitUntilRead(m_pair.server())); // so the call has begun
    handler.requestStop();
    EXPECT_EQ(receiver.wait(promptly), false);
}

TEST_F(Stop, OfAHandlerIsRememberedByItsNextWait)
{
    Stoppable handler(m_pair.server());
    handler.requestStop();
    const Background receiver([&] { return handler.recv(anyKind, m_text); });
    EXPECT_EQ(receiver.wait(seconds(10)), false);
    m_pair.closeServer(); // ends a wait that lasts against expectation
}

TEST_F(Stop, OfAHandlersActivityEndsItsWaitAndNoLaterOne)
{
    Stoppable handler(m_pair.server());
    {
        const Background receiver([&] { return handler.recv(anyKind, m_text); });
        while (!receiver.wait(milliseconds(10)))
            handler.clearActivity(); // again, as the call raises the flag when it begins
        ASSERT_EQ(receiver.wait(seconds(0)), false);
    }
    sendRaw(frame(anyKind, "verdict"));
    ASSERT_TRUE(handler.recv(anyKind, m_text));
    ASSERT_TRUE(handler.send(anyKind, "closing"_s));
    ASSERT_TRUE(m_client.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "closing"_s);
}

TEST_F(Stop, FromManyThreadsAtOnceIsHarmless)
{
    Stoppable handler(m_pair.server());
    const Background receiver([&] { return handler.recv(anyKind, m_text); });
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { handler.requestStop(); });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(receiver.wait(seconds(5)), false);
}

} // namespace
