#include "tests/transport/byte_transfer.h"

#include "transport/congestion/feedback.h"
#include "transport/congestion/udt_packet.h"
#include "transport/connector.h"
#include "transport/listener.h"

#include <gtest/gtest.h>

#include <udt/ccc.h>

#include <atomic>
#include <future>
#include <random>
#include <string>

// Ends whose congestion control says anything to the other end's, against both halves of ours.
//
// VESK_HOSTILE_SEED takes another seed than 1.

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr std::chrono::seconds limit(60); // for a transfer that takes less than one
constexpr int customType = 0x7FFF;
constexpr int lossReportType = 3;
constexpr std::int32_t feedbackMagic = 0x56434331;

enum class Mischief {
    RandomWords, // of random number
    AbsurdFeedback, // well-formed, with random numbers
    TrueBeginnings, // a true message with one field that cannot be
    Greetings, // over and over
    CutMessages, // that end within a word, or are empty
    LossReports, // of packets that were never sent, and of ranges that end before they begin
    StrangePackets, // data with numbers far from the window
};

std::ostream &operator<<(std::ostream &out, Mischief mischief)
{
    static const char *const names[] = {"RandomWords", "AbsurdFeedback", "TrueBeginnings", "Greetings",
                                        "CutMessages", "LossReports",    "StrangePackets"};
    return out << names[static_cast<int>(mischief)];
}

std::atomic<int> current{0}; // mischief of the sockets that are made next
std::atomic<unsigned> nextSeed{1};
std::atomic<int> saidInAll{0}; // messages of all hostile ends

/// Otherwise does what the library's own does.
class HostileControl : public CCC
{
public:
    HostileControl()
        : m_mischief(static_cast<Mischief>(current.load()))
        , m_random(nextSeed++)
    {
    }

    void init() override
    {
        m_dPktSndPeriod = 10;
        m_dCWndSize = 1000;
    }
    void onPktReceived(const CPacket *packet) override
    {
        m_highest = packet->m_iSeqNo;
        ++m_received;
        if (m_received % 4 == 0)
            speak();
    }
    void onACK(int32_t next) override
    {
        m_highest = next;
        speak();
    }

private:
    // Who asks for everything again for ever gets nothing new, and that for ever, too.
    static constexpr int mostReports = 50;

    std::int32_t word() { return static_cast<std::int32_t>(m_random()); }
    // The borders of what a number can be are likelier than others.
    std::int32_t number()
    {
        constexpr std::array<std::int32_t, 6> borders{0, 1, -1, INT32_MAX, INT32_MIN, 0x40000000};
        return m_random() % 2 == 0 ? borders[m_random() % borders.size()] : word();
    }

    Feedback::Words feedback(bool isTrue)
    {
        Feedback feedback;
        feedback.received = isTrue ? m_received : static_cast<std::uint32_t>(number());
        feedback.highest = isTrue ? m_highest : number() & INT32_MAX;
        feedback.clockUs = isTrue ? m_received * 100 : static_cast<std::uint32_t>(number());
        feedback.heldUs = isTrue ? 10 : static_cast<std::uint32_t>(number());
        feedback.complete = isTrue ? m_highest : number() & INT32_MAX;
        feedback.reorderUs = isTrue ? 100 : static_cast<std::uint32_t>(number());
        feedback.knowsSender = m_random() % 2 == 0;
        return feedback.toWords();
    }

    void speak()
    {
        ++saidInAll;
        switch (m_mischief) {
        case Mischief::RandomWords:
        case Mischief::CutMessages:
            return sayRandomWords();
        case Mischief::AbsurdFeedback:
            return say(customType, feedback(false));
        case Mischief::TrueBeginnings: {
            Feedback::Words words = feedback(true);
            if (m_random() % 3 == 0)
                words[1 + m_random() % (words.size() - 1)] = number();
            return say(customType, words);
        }
        case Mischief::Greetings:
            return say(customType, std::array<std::int32_t, 1>{senderGreeting});
        case Mischief::LossReports:
            return m_reports < mostReports ? sayLossReport() : say(customType, feedback(true));
        case Mischief::StrangePackets:
            return sendStrangePacket();
        }
    }

    void sayRandomWords()
    {
        std::array<std::int32_t, 300> words{};
        for (std::int32_t &one : words)
            one = number();
        if (m_random() % 2 == 0)
            words[0] = feedbackMagic;
        const std::size_t count = m_random() % words.size();
        CPacket packet;
        packControl(&packet, customType, words.data(), count);
        if (m_mischief == Mischief::CutMessages)
            (packet.*Length::vector)[1].iov_len = m_random() % 40;
        sendCustomMsg(packet);
    }

    void sayLossReport()
    {
        ++m_reports;
        std::array<std::int32_t, 8> words{};
        for (std::int32_t &one : words)
            one = m_random() % 2 == 0 ? number() : m_highest + static_cast<std::int32_t>(m_random() % 100);
        say(lossReportType, words);
    }

    // Nothing in or near the window, where it would be taken for what was sent.
    void sendStrangePacket()
    {
        constexpr std::uint32_t far = 1 << 17;
        char data[100] = {};
        CPacket packet;
        packControl(&packet, 0, reinterpret_cast<std::int32_t *>(data), sizeof data / 4);
        packet.m_iSeqNo = static_cast<std::int32_t>(
            (static_cast<std::uint32_t>(m_highest) + far + m_random() % (INT32_MAX - 2 * far)) & INT32_MAX);
        packet.m_iMsgNo = word();
        sendCustomMsg(packet);
    }

    template <std::size_t count>
    void say(int type, std::array<std::int32_t, count> words)
    {
        CPacket packet;
        packControl(&packet, type, words.data(), words.size());
        sendCustomMsg(packet);
    }

    struct Length : CPacket {
        static constexpr auto vector = &Length::m_PacketVector;
    };

    const Mischief m_mischief;
    std::mt19937 m_random;
    std::int32_t m_highest = 0;
    std::uint32_t m_received = 0;
    int m_reports = 0;
};

/// A hostile client, and an honest server with our control.
class HostileControls : public testing::TestWithParam<Mischief>
{
protected:
    static void SetUpTestSuite()
    {
        const QByteArray seed = qgetenv("VESK_HOSTILE_SEED");
        if (!seed.isEmpty())
            nextSeed = seed.toUInt() * 1000003U;
    }

    void SetUp() override
    {
        QString error;
        ASSERT_TRUE(m_listener.open(loopback(0), &error)) << qPrintable(error);
    }

    void connect(bool isHostile)
    {
        m_client = UdtSocket::create(AF_INET, TransportOptions());
        ASSERT_TRUE(m_client.isValid());
        if (isHostile) {
            current = static_cast<int>(GetParam());
            CCCFactory<HostileControl> factory;
            ASSERT_NE(UDT::setsockopt(m_client.id(), 0, UDT_CC, &factory, sizeof factory), UDT::ERROR);
        }
        auto accepted = std::async(std::launch::async, [this] {
            SocketAddress peer;
            return m_listener.accept(&peer);
        });
        const SocketAddress server = m_listener.address();
        const bool isConnected =
            UDT::connect(m_client.id(), server.data(), static_cast<int>(server.size())) != UDT::ERROR;
        if (!isConnected)
            m_listener.close();
        m_server = accepted.get();
        ASSERT_TRUE(isConnected && m_server.isValid());
    }

    /// False when it hangs: then both ends are closed. What has arrived may be less, but nothing else.
    bool transfer(UDTSOCKET from, UDTSOCKET to, int size, std::size_t *arrived)
    {
        const std::string bytes = someBytes(size);
        auto received = std::async(std::launch::async, [=] { return receiveAll(to, size); });
        auto sent = std::async(std::launch::async, [&] { return sendAll(from, bytes); });
        const bool hasEnded = received.wait_for(limit) == std::future_status::ready;
        if (!hasEnded) {
            UDT::close(from);
            UDT::close(to);
        }
        const std::string found = received.get();
        if (found.size() < bytes.size())
            UDT::close(from); // or the sender would wait for its room
        (void)sent.get(); // the other end tells what is missing
        *arrived = found.size();
        EXPECT_TRUE(found == bytes.substr(0, found.size())) << "after " << found.size() << " bytes";
        return hasEnded;
    }

    Listener m_listener{TransportOptions()};
    UdtSocket m_client;
    UdtSocket m_server;
};

TEST_P(HostileControls, DoNoHarmInEitherDirection)
{
    constexpr int rounds = 3;
    constexpr int size = 3000000;
    const int saidBefore = saidInAll;
    for (int round = 0; round < rounds; ++round) {
        for (const bool isHostileReceiver : {true, false}) {
            connect(true);
            const UDTSOCKET from = isHostileReceiver ? m_server.id() : m_client.id();
            const UDTSOCKET to = isHostileReceiver ? m_client.id() : m_server.id();
            std::size_t arrived = 0;
            EXPECT_TRUE(transfer(from, to, size, &arrived)) << "hangs after " << arrived << " bytes";
            EXPECT_EQ(arrived, static_cast<std::size_t>(size));
            m_client.close();
            m_server.close();
        }
    }
    EXPECT_GT(saidInAll, saidBefore + 100);
    connect(false);
    std::size_t arrived = 0;
    EXPECT_TRUE(transfer(m_client.id(), m_server.id(), size, &arrived));
    EXPECT_EQ(arrived, static_cast<std::size_t>(size)) << "an honest client";
}

INSTANTIATE_TEST_SUITE_P(All, HostileControls,
                         testing::Values(Mischief::RandomWords, Mischief::AbsurdFeedback,
                                         Mischief::TrueBeginnings, Mischief::Greetings, Mischief::CutMessages,
                                         Mischief::LossReports, Mischief::StrangePackets),
                         [](const auto &mischief) {
                             std::ostringstream name;
                             name << mischief.param;
                             return name.str();
                         });

} // namespace
