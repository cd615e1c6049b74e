#include "tests/unit/channel_ends.h"

#include "vesk_base/message_kind.h"
#include "vesk_base/vesk_base.h"

using namespace VESK;
using namespace VESK::Test;

namespace
{

const int listKind = number(MessageKind::ListContent);

class MessageChannelTest : public ChannelEnds
{
protected:
    /// Moves one text from the client's channel to the server's.
    void expectTravels(int kind, const QString &text)
    {
        ASSERT_TRUE(m_client.send(kind, text));
        QString received = "before"_s;
        ASSERT_TRUE(m_channel.recv(kind, received));
        EXPECT_TRUE(received == text) << received.size() << " characters instead of " << text.size();
    }
};

TEST_F(MessageChannelTest, WritesTheDocumentedFrame)
{
    ASSERT_TRUE(m_client.send(5, "né"_s));
    EXPECT_EQ(recvRaw(m_pair.server(), 15), QByteArray::fromHex("5645534b00000005000000036ec3a9"));
}

TEST_F(MessageChannelTest, CarriesEveryKindBothWays)
{
    for (const int kind : {5, 6, 7, 8, 9, 0, 1, 32, 1000, 0x7FFFFFFF}) {
        const QString text = "kind %1"_s.arg(kind);
        expectTravels(kind, text);
        ASSERT_TRUE(m_channel.send(kind, text));
        ASSERT_TRUE(m_client.recv(kind, m_text));
        EXPECT_EQ(m_text, text);
    }
}

TEST_F(MessageChannelTest, CarriesTheEmptyText)
{
    expectTravels(anyKind, ""_s);
    expectTravels(anyKind, "in step"_s);
}

TEST_F(MessageChannelTest, KeepsTheOrder)
{
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(m_client.send(anyKind, QString::number(i)));
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(m_channel.recv(anyKind, m_text));
        ASSERT_EQ(m_text, QString::number(i));
    }
}

TEST_F(MessageChannelTest, CarriesEveryCharacter)
{
    QVector<uint> characters;
    for (uint code = 0; code <= 0x10FFFF; ++code)
        if (code < 0xD800 || code > 0xDFFF)
            characters.append(code);
    for (int at = 0; at < characters.size(); at += 100000)
        expectTravels(anyKind,
                      QString::fromUcs4(characters.constData() + at, qMin(100000, characters.size() - at)));
}

TEST_F(MessageChannelTest, KeepsAByteOrderMark)
{
    expectTravels(anyKind, QChar(0xFEFF) + "text"_s);
    expectTravels(anyKind, QString(2, QChar(0xFEFF)));
    expectTravels(anyKind, QChar(0xFFFE) + "text"_s);
}

TEST_F(MessageChannelTest, CarriesFramesThatEndWithAFullPacket)
{
    const int full = packetPayload(m_pair.client());
    for (const int packets : {1, 2, 3, 10, 100})
        for (const int around : {-1, 0, 1}) {
            const QString text(packets * full - 12 + around, QLatin1Char('x'));
            expectTravels(anyKind, text);
            ASSERT_TRUE(m_channel.send(anyKind, text));
            ASSERT_TRUE(m_client.recv(anyKind, m_text));
            EXPECT_EQ(m_text.size(), text.size());
        }
}

TEST_F(MessageChannelTest, DoesNotWaitForTheTimerAfterAFullPacket)
{
    // A frame that ends with a full packet and is sent in one go arrives 0.1 s late, so this took 5 s.
    const QString text(packetPayload(m_pair.client()) - 12, QLatin1Char('x'));
    const Background exchange([&] {
        for (int i = 0; i < 50; ++i)
            expectTravels(anyKind, text);
    });
    EXPECT_EQ(exchange.wait(seconds(3)), true);
}

TEST_F(MessageChannelTest, CarriesTheLargestMessage)
{
    expectTravels(anyKind, QString(maxPayload, QLatin1Char('x')));
    expectTravels(anyKind, QString::fromUtf8(QByteArray("é").repeated(maxPayload / 2)));
}

TEST_F(MessageChannelTest, CarriesTheLargestListing)
{
    const QString text(maxListPayload, QLatin1Char('x'));
    const Background sender([&] { return m_client.send(listKind, text); });
    ASSERT_TRUE(m_channel.recv(listKind, m_text));
    EXPECT_TRUE(m_text == text);
    EXPECT_EQ(sender.wait(seconds(20)), true);
}

TEST_F(MessageChannelTest, SendsOnWhenTheBufferTakesOnlyAPart)
{
    // Far more than both buffers hold, so that the sender meets a full one many times.
    const int rounds = 48;
    const Background sender([&] {
        bool good = true;
        for (int i = 0; i < rounds; ++i)
            good = good
                && m_client.send(anyKind,
                                 QString(maxPayload - i, QLatin1Char('a' + static_cast<char>(i % 26))));
        return good;
    });
    EXPECT_FALSE(sender.wait(milliseconds(500))) << "nothing was read yet";
    for (int i = 0; i < rounds; ++i) {
        ASSERT_TRUE(m_channel.recv(anyKind, m_text));
        ASSERT_EQ(m_text.size(), maxPayload - i);
        ASSERT_EQ(m_text.count(QLatin1Char('a' + static_cast<char>(i % 26))), maxPayload - i);
    }
    EXPECT_EQ(sender.wait(seconds(20)), true);
}

TEST_F(MessageChannelTest, SendsNothingOfATextThatIsTooLong)
{
    EXPECT_FALSE(m_client.send(anyKind, QString(maxPayload + 1, QLatin1Char('x'))));
    EXPECT_FALSE(m_client.send(anyKind, QString::fromUtf8(QByteArray("é").repeated(maxPayload / 2)) + "x"_s));
    EXPECT_FALSE(m_client.send(listKind, QString(maxListPayload + 1, QLatin1Char('x'))));
    EXPECT_FALSE(m_client.isBroken());
    EXPECT_EQ(m_client.lastErrorCode(), 0);
    expectTravels(anyKind, "the first to arrive"_s);
}

TEST_F(MessageChannelTest, SendsNothingOfATextWithALoneSurrogate)
{
    for (const int unit : {0xD800, 0xDBFF, 0xDC00, 0xDFFF})
        EXPECT_FALSE(m_client.send(anyKind, "x"_s + QChar(unit) + "y"_s));
    EXPECT_FALSE(m_client.isBroken());
    expectTravels(anyKind, "the first to arrive"_s);
}

TEST_F(MessageChannelTest, ConsumesAMessageOfAnotherKind)
{
    ASSERT_TRUE(m_client.send(7, QString(5000, QLatin1Char('x'))));
    m_text = "untouched"_s;
    EXPECT_FALSE(m_channel.recv(8, m_text));
    EXPECT_EQ(m_text, "untouched"_s);
    EXPECT_FALSE(m_channel.isBroken());
    expectTravels(8, "in step"_s);
}

TEST_F(MessageChannelTest, TellsTheKindOfAnyMessage)
{
    ASSERT_TRUE(m_client.send(33, "host"_s));
    int kind = 0;
    ASSERT_TRUE(m_channel.recvAny(kind, m_text));
    EXPECT_EQ(kind, 33);
    EXPECT_EQ(m_text, "host"_s);
}

TEST_F(MessageChannelTest, LeavesWhatFollowsItsFrame)
{
    const QByteArray bulk("bulk bytes, straight behind the frame, in the same packet");
    sendRaw(frame(anyKind, "first") + frame(anyKind, "second") + bulk);
    ASSERT_TRUE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "first"_s);
    ASSERT_TRUE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "second"_s);
    EXPECT_EQ(recvRaw(m_pair.server(), bulk.size()), bulk);
}

TEST_F(MessageChannelTest, TakesAFrameByteByByte)
{
    const QByteArray bytes = frame(anyKind, "slow");
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    for (const char byte : bytes) {
        sendRaw(QByteArray(1, byte));
        ASSERT_TRUE(waitUntilDelivered(m_pair.client()));
    }
    EXPECT_EQ(receiver.wait(seconds(10)), true);
    EXPECT_EQ(m_text, "slow"_s);
}

TEST_F(MessageChannelTest, WorksOnNonBlockingSockets)
{
    for (const UDTSOCKET socket : {m_pair.client(), m_pair.server()}) {
        setSocketOption(socket, UDT_RCVSYN, false);
        setSocketOption(socket, UDT_SNDSYN, false);
    }
    const Background receiver([&] { return m_channel.recv(listKind, m_text); });
    EXPECT_FALSE(receiver.wait(milliseconds(100))) << "it should wait for a message";
    ASSERT_TRUE(m_client.send(listKind, QString(maxListPayload, QLatin1Char('x'))));
    EXPECT_EQ(receiver.wait(seconds(20)), true);
    EXPECT_EQ(m_text.size(), maxListPayload);
    for (const UDTSOCKET socket : {m_pair.client(), m_pair.server()}) {
        EXPECT_FALSE(socketOption<bool>(socket, UDT_RCVSYN));
        EXPECT_FALSE(socketOption<bool>(socket, UDT_SNDSYN));
    }
}

TEST_F(MessageChannelTest, PutsTheHostsOptionsBack)
{
    const UDTSOCKET socket = m_pair.server();
    setSocketOption(socket, UDT_RCVTIMEO, 123);
    setSocketOption(socket, UDT_SNDTIMEO, 45678);
    const auto expectRestored = [&] {
        EXPECT_EQ(socketOption<int>(socket, UDT_RCVTIMEO), 123);
        EXPECT_EQ(socketOption<int>(socket, UDT_SNDTIMEO), 45678);
        EXPECT_TRUE(socketOption<bool>(socket, UDT_RCVSYN));
        EXPECT_TRUE(socketOption<bool>(socket, UDT_SNDSYN));
    };
    ASSERT_TRUE(m_channel.send(anyKind, "x"_s));
    expectRestored();
    EXPECT_FALSE(m_channel.recv(anyKind, m_text)); // the idle limit
    expectRestored();
    sendRaw(frame(anyKind, "x") + frame(anyKind, "x", 1, 0));
    EXPECT_TRUE(m_channel.recv(anyKind, m_text));
    expectRestored();
    EXPECT_FALSE(m_channel.recv(anyKind, m_text));
    ASSERT_TRUE(m_channel.isBroken());
    expectRestored();
}

TEST_F(MessageChannelTest, TakesTheHostsReceiveTimeoutAsIdleLimit)
{
    setSocketOption(m_pair.server(), UDT_RCVTIMEO, 200);
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    EXPECT_EQ(receiver.wait(seconds(5)), false);
    EXPECT_EQ(m_channel.lastErrorCode(), 0);
    EXPECT_FALSE(m_channel.isBroken());
    expectTravels(anyKind, "in step"_s);
}

TEST_F(MessageChannelTest, CountsTheIdleLimitFromTheLastProgress)
{
    const int limitMs = 1500;
    setSocketOption(m_pair.server(), UDT_RCVTIMEO, limitMs);
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    for (const char byte : frame(anyKind, "")) { // 12 bytes, so 2.4 s in all
        EXPECT_FALSE(receiver.wait(milliseconds(200)));
        sendRaw(QByteArray(1, byte));
    }
    EXPECT_EQ(receiver.wait(seconds(10)), true);
}

TEST_F(MessageChannelTest, TakesTheHostsSendTimeoutAsIdleLimit)
{
    setSocketOption(m_pair.client(), UDT_SNDTIMEO, 200);
    const Background sender([&] {
        const QString text(maxListPayload, QLatin1Char('x'));
        return m_client.send(listKind, text); // more than the buffers of both ends hold
    });
    EXPECT_EQ(sender.wait(seconds(20)), false);
    EXPECT_EQ(m_client.lastErrorCode(), 0);
    EXPECT_TRUE(m_client.isBroken()) << "a part is on its way";
}

TEST_F(MessageChannelTest, MovesWithoutAnyPatienceWhatNeedsNoWait)
{
    setSocketOption(m_pair.client(), UDT_SNDTIMEO, 0);
    setSocketOption(m_pair.server(), UDT_RCVTIMEO, 0);
    ASSERT_TRUE(m_client.send(anyKind, "there"_s));
    ASSERT_TRUE(waitUntilDelivered(m_pair.client()));
    ASSERT_TRUE(m_channel.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "there"_s);
    const Background receiver([&] { return m_channel.recv(anyKind, m_text); });
    EXPECT_EQ(receiver.wait(seconds(5)), false);
    EXPECT_FALSE(m_channel.isBroken());
}

TEST_F(MessageChannelTest, TellsTheErrorOfTheLastCallOnly)
{
    m_pair.closeClient();
    EXPECT_FALSE(m_client.send(anyKind, "x"_s));
    EXPECT_NE(m_client.lastErrorCode(), 0);
    EXPECT_FALSE(m_client.send(anyKind, QString(QChar(0xD800))));
    EXPECT_EQ(m_client.lastErrorCode(), 0);
}

TEST_F(MessageChannelTest, TheBaseFindsTheSocketOfItsEndPoint)
{
    VeskBase client;
    VeskBase server;
    ASSERT_TRUE(
        client.setParams({{"endPoint"_s, "client"_s}, {"clientSocket"_s, QString::number(m_pair.client())}}));
    ASSERT_TRUE(
        server.setParams({{"endPoint"_s, "server"_s}, {"serverSocket"_s, QString::number(m_pair.server())}}));
    EXPECT_FALSE(client.hasSent(MessageKind::TaskParam));
    ASSERT_TRUE(client.send(5, "to the server"_s));
    ASSERT_TRUE(server.recv(5, m_text));
    EXPECT_EQ(m_text, "to the server"_s);
    ASSERT_TRUE(server.send(6, "to the client"_s));
    ASSERT_TRUE(client.recv(6, m_text));
    EXPECT_EQ(m_text, "to the client"_s);

    EXPECT_TRUE(client.hasSent(MessageKind::TaskParam));
    EXPECT_FALSE(client.hasSent(MessageKind::TaskParamAck));
    EXPECT_TRUE(server.hasSent(MessageKind::TaskParamAck));
    EXPECT_FALSE(server.send(7, QString(maxPayload + 1, QLatin1Char('x'))));
    EXPECT_FALSE(server.hasSent(MessageKind::FileVerifyResult));
    ASSERT_TRUE(server.send(1000, "a host's"_s));
    EXPECT_TRUE(server.hasSent(static_cast<MessageKind>(1000)));
}

TEST_F(MessageChannelTest, TheBaseGoesOverToAnotherSocket)
{
    const UdtPair other;
    MessageChannel otherClient(other.client());
    VeskBase server;
    ASSERT_TRUE(server.setParam("endPoint"_s, "server"_s));
    ASSERT_TRUE(server.setParam("serverSocket"_s, QString::number(m_pair.server())));
    sendRaw(frame(anyKind, "noise", 5, 0));
    EXPECT_FALSE(server.recv(anyKind, m_text));
    EXPECT_FALSE(server.send(anyKind, "out of step"_s));

    ASSERT_TRUE(server.setParam("serverSocket"_s, QString::number(other.server())));
    ASSERT_TRUE(server.send(anyKind, "in step"_s));
    ASSERT_TRUE(otherClient.recv(anyKind, m_text));
    EXPECT_EQ(m_text, "in step"_s);
}

TEST_F(MessageChannelTest, TheBaseFailsWithoutASocket)
{
    VeskBase handler;
    const Background calls([&] {
        bool any = handler.send(5, "x"_s) || handler.recv(5, m_text);
        for (const QString &socket : {""_s, "-1"_s, "0"_s, "no number"_s, "99999999999"_s})
            any = any || !handler.setParams({{"endPoint"_s, "client"_s}, {"clientSocket"_s, socket}})
                || handler.send(5, "x"_s) || handler.recv(5, m_text);
        return any;
    });
    EXPECT_EQ(calls.wait(seconds(5)), false);
}

} // namespace
