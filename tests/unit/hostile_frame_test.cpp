#include "tests/unit/channel_ends.h"

#include <malloc.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// Bytes that the program has got from the allocator; 0 where another one is in use.
qint64 allocated()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>(info.uordblks + info.hblkhd);
}

using HostileFrame = ChannelEnds;

TEST_F(HostileFrame, OfTwoGigabytesIsRefused)
{
    for (const quint32 length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, quint32(maxPayload) + 1}) {
        UdtPair pair;
        MessageChannel channel(pair.server());
        const QByteArray header = frame(anyKind, "and so on", length);
        ASSERT_EQ(UDT::send(pair.client(), header.constData(), header.size(), 0), header.size());
        const qint64 before = allocated();
        EXPECT_FALSE(channel.recv(anyKind, m_text));
        EXPECT_TRUE(channel.isBroken());
        EXPECT_LT(allocated() - before, 1 << 20);
    }
}

TEST_F(HostileFrame, OfAListingBeyondItsLimitIsRefused)
{
    sendRaw(frame(9, "x", maxListPayload + 1));
    EXPECT_FALSE(m_channel.recv(9, m_text));
    expectBroken();
}

TEST_F(HostileFrame, WithTheLengthOfAListingIsRefusedForOtherKinds)
{
    sendRaw(frame(8, "x", maxListPayload));
    EXPECT_FALSE(m_channel.recv(9, m_text));
    expectBroken();
}

TEST_F(HostileFrame, TakesMemoryForTheBytesThatCameOnly)
{
    const qint64 before = allocated();
    const Background receiver([&] { return m_channel.recv(9, m_text); });
    sendRaw(frame(9, QByteArray(1000, 'x'), maxListPayload));
    ASSERT_TRUE(waitUntilDelivered(m_pair.client()));
    ASSERT_TRUE(waitUntilRead(m_pair.server())); // so a place for the payload is there
    EXPECT_FALSE(receiver.wait(milliseconds(0)));
    EXPECT_LT(allocated() - before, 8 << 20);
    m_pair.closeClient();
    EXPECT_EQ(receiver.wait(seconds(10)), false);
}

TEST_F(HostileFrame, WithAnotherMagicBreaksTheChannel)
{
    sendRaw(frame(anyKind, "x", 1, frameMagic ^ 1) + frame(anyKind, "good"));
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_channel.lastErrorCode(), 0);
    expectBroken();
}

TEST_F(HostileFrame, OfNoiseBreaksTheChannel)
{
    sendRaw("GET / HTTP/1.1\r\nHost: example\r\n\r\n");
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    expectBroken();
}

TEST_F(HostileFrame, IsNoMessageOfAnyKindEither)
{
    const int untouched = 77;
    int kind = untouched;
    sendRaw(frame(anyKind, "x", 1, frameMagic ^ 1));
    EXPECT_FALSE(m_channel.recvAny(kind, m_text));
    EXPECT_EQ(kind, untouched);
    expectBroken();
}

TEST_F(HostileFrame, ThatDoesNotComeIsNoMessageOfAnyKind)
{
    const int untouched = 77;
    int kind = untouched;
    endStream();
    EXPECT_FALSE(m_channel.recvAny(kind, m_text));
    EXPECT_EQ(kind, untouched);
}

TEST_F(HostileFrame, CutInItsHeaderBreaksTheChannel)
{
    sendRaw(frame(anyKind, "x").left(5));
    endStream();
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    EXPECT_NE(m_channel.lastErrorCode(), 0);
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_channel.lastErrorCode(), 0) << "it was an error of an earlier call";
    expectBroken();
}

TEST_F(HostileFrame, CutBehindItsHeaderBreaksTheChannel)
{
    sendRaw(frame(anyKind, "", 1));
    endStream();
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    expectBroken();
}

TEST_F(HostileFrame, CutInItsPayloadBreaksTheChannel)
{
    sendRaw(frame(anyKind, QByteArray(100000, 'x'), 100001));
    endStream();
    m_text = "untouched"_s;
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "untouched"_s);
    expectBroken();
}

TEST_F(HostileFrame, ThatStallsMeetsTheIdleLimitAndBreaksTheChannel)
{
    setSocketOption(m_pair.server(), UDT_RCVTIMEO, 200);
    sendRaw(frame(anyKind, "x", 2));
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    EXPECT_EQ(receiver.wait(seconds(5)), false);
    expectBroken();
}

TEST_F(HostileFrame, AClosedConnectionFailsAtOnce)
{
    m_pair.closeClient();
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    EXPECT_EQ(receiver.wait(seconds(20)), false);
    EXPECT_NE(m_channel.lastErrorCode(), 0);
    EXPECT_FALSE(m_client.send(anyKind, "x"_s));
    EXPECT_FALSE(m_client.recv(anyKind, m_text));
}

class InvalidUtf8 : public ChannelEnds, public testing::WithParamInterface<const char *>
{
};

TEST_P(InvalidUtf8, IsRefusedAndLeavesTheStreamInStep)
{
    sendRaw(frame(anyKind, QByteArray("good ") + GetParam()) + frame(anyKind, "in step"));
    m_text = "untouched"_s;
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "untouched"_s);
    EXPECT_FALSE(m_channel.isBroken());
    ASSERT_TRUE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "in step"_s);
}

INSTANTIATE_TEST_SUITE_P(Sequences, InvalidUtf8,
                         testing::Values("\xFF", "\x80", "\xC3", "\xC3x", "\xC0\x80", "\xC1\xBF", "\xE2\x82",
                                         "\xE0\x80\xAF", "\xED\xA0\x80", "\xED\xBF\xBF",
                                         "\xED\xA0\xBD\xED\xB8\x80", "\xF0\x9F\x98", "\xF0\x80\x80\x80",
                                         "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80",
                                         "\xFE\xFF"));

} // namespace
