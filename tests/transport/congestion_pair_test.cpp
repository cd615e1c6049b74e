#include "tests/faults/support/udp_relay.h"
#include "tests/transport/byte_transfer.h"

#include "transport/connector.h"
#include "transport/listener.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

using namespace VESK;
using namespace VESK::Test;

namespace
{

using std::chrono::milliseconds;

struct Ends {
    Congestion client;
    Congestion server;
};

/// A client and a server whose datagrams meet with some weather.
class CongestionPair : public testing::Test
{
protected:
    void connect(const PathWeather &weather, const Ends &ends = {Congestion::Vesk, Congestion::Vesk})
    {
        TransportOptions options;
        options.congestion = ends.server;
        m_listener = std::make_unique<Listener>(options);
        QString error;
        ASSERT_TRUE(m_listener->open(loopback(0), &error)) << qPrintable(error);
        const sockaddr_in server = *reinterpret_cast<const sockaddr_in *>(m_listener->address().data());
        m_relay = std::make_unique<UdpRelay>(server, weather, 3);
        auto accepted = std::async(std::launch::async, [this] {
            SocketAddress peer;
            return m_listener->accept(&peer);
        });
        options.congestion = ends.client;
        m_connector = std::make_unique<Connector>(options);
        ConnectFailure failure;
        m_client = m_connector->connect(loopback(ntohs(m_relay->address().sin_port)), &failure);
        ASSERT_TRUE(m_client.isValid()) << qPrintable(failure.detail);
        m_server = accepted.get();
        ASSERT_TRUE(m_server.isValid());
    }

    void expectTransfer(UDTSOCKET from, UDTSOCKET to, int size)
    {
        const std::string bytes = someBytes(size);
        auto received = std::async(std::launch::async, [to, size] { return receiveAll(to, size); });
        EXPECT_TRUE(sendAll(from, bytes));
        EXPECT_TRUE(received.get() == bytes);
    }

    std::unique_ptr<Listener> m_listener;
    std::unique_ptr<UdpRelay> m_relay;
    std::unique_ptr<Connector> m_connector;
    UdtSocket m_client;
    UdtSocket m_server;
};

TEST_F(CongestionPair, MovesAllBytesOverAGoodPath)
{
    connect({});
    expectTransfer(m_client.id(), m_server.id(), 20000000);
    expectTransfer(m_server.id(), m_client.id(), 20000000);
}

TEST_F(CongestionPair, MovesAllBytesOverALossyPath)
{
    PathWeather weather;
    weather.loss = 0.05;
    weather.delay = milliseconds(5);
    connect(weather);
    expectTransfer(m_client.id(), m_server.id(), 5000000);
    expectTransfer(m_server.id(), m_client.id(), 5000000);
}

TEST_F(CongestionPair, MovesAllBytesOverAPathThatReordersAndDoubles)
{
    PathWeather weather;
    weather.reordering = 0.2;
    weather.duplication = 0.05;
    weather.delay = milliseconds(5);
    connect(weather);
    expectTransfer(m_client.id(), m_server.id(), 5000000);
    UDT::TRACEINFO info{};
    ASSERT_NE(UDT::perfmon(m_client.id(), &info, false), UDT::ERROR);
    EXPECT_LT(info.pktRetransTotal, info.pktSentTotal / 10);
}

TEST_F(CongestionPair, WorksWithAPeerThatHasNoneOfIt)
{
    PathWeather weather;
    weather.loss = 0.01;
    weather.delay = milliseconds(2);
    for (const Ends &ends :
         {Ends{Congestion::Vesk, Congestion::Udt}, Ends{Congestion::Udt, Congestion::Vesk}}) {
        connect(weather, ends);
        expectTransfer(m_client.id(), m_server.id(), 1000000);
        expectTransfer(m_server.id(), m_client.id(), 1000000);
        m_client.close();
        m_server.close();
    }
}

TEST_F(CongestionPair, DeliversShortMessagesOfWholePacketsAtOnce)
{
    connect({});
    int packetSize = 0;
    packetSize = negotiatedPacketSize(m_client.id()) - 44;
    const std::string message = someBytes(8 * packetSize);
    expectTransfer(m_client.id(), m_server.id(), 8 * packetSize);
    const auto begin = std::chrono::steady_clock::now();
    constexpr int rounds = 50;
    for (int i = 0; i < rounds; ++i) {
        expectTransfer(m_client.id(), m_server.id(), 8 * packetSize);
        expectTransfer(m_server.id(), m_client.id(), 8 * packetSize);
    }
    // One of them would take a tenth of a second if it waited for the library's timer.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(rounds * 50));
}

} // namespace
