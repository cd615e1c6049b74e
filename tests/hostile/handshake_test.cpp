#include "tests/host/program.h"
#include "tests/hostile/raw_handshake.h"
#include "tests/support/temp_dir.h"

#include <QtCore/QFile>

#include <gmock/gmock.h>

#include <optional>
#include <random>

// Connection requests with claims that would break the transport library, against the running program.

using namespace VESK::Test;

namespace
{

constexpr int answerMs = 10000; // for an answer that ought to come at once
constexpr int silenceMs = 300; // how long to wait for one that ought not to

struct Claim {
    const char *name;
    std::uint32_t packetSize;
    std::uint32_t flowWindow;
};

std::ostream &operator<<(std::ostream &out, const Claim &claim)
{
    return out << claim.packetSize << " bytes, " << claim.flowWindow << " packets";
}

class Handshake : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.mkdir("share"));
        ASSERT_TRUE(dir.write("file.bin", pattern(200000)));
        server.emplace(dir.path("share"));
        ASSERT_NE(server->port(), 0);
    }

    /// Does the program still run, and does an ordinary client get its file stored?
    void expectService()
    {
        EXPECT_TRUE(server->program().isRunning()) << server->program().err().toStdString();
        Program put({"put", dir.path("file.bin"), server->url("share")});
        EXPECT_EQ(put.waitForEnd(), 0) << put.err().toStdString();
        EXPECT_EQ(dir.read("share/file.bin"), pattern(200000));
    }

    qint64 residentPages()
    {
        QFile file(QStringLiteral("/proc/%1/statm").arg(server->program().processId()));
        return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(1).toLongLong() : -1;
    }

    const TempDir dir;
    std::optional<ServerProgram> server;
};

class HarmfulHandshake : public Handshake, public testing::WithParamInterface<Claim>
{
};

TEST_P(HarmfulHandshake, IsNotAnsweredAndHarmsNobody)
{
    RawHandshake client(server->port());
    client.send({});
    const std::optional<std::uint32_t> cookie = client.answeredCookie(answerMs);
    ASSERT_TRUE(cookie) << "an honest first request is answered";
    const qint64 pagesBefore = residentPages();

    const auto &[name, packetSize, flowWindow] = GetParam();
    client.send({packetSize, flowWindow, 0});
    EXPECT_FALSE(client.answeredCookie(silenceMs)) << "to a first request";
    for (int i = 0; i < 5; ++i)
        client.send({packetSize, flowWindow, *cookie});
    EXPECT_FALSE(client.answeredCookie(silenceMs)) << "to a connecting request";

    constexpr qint64 allowedPages = 25 << 8; // 25 MiB
    EXPECT_LT(residentPages() - pagesBefore, allowedPages);
    expectService();
}

INSTANTIATE_TEST_SUITE_P(
    Claims, HarmfulHandshake,
    testing::Values(Claim{"NoRoomForData", 44, 25600}, Claim{"LessThanAHeader", 16, 25600},
                    Claim{"NoPacketSize", 0, 25600}, Claim{"JustBelowTheLimit", 499, 25600},
                    Claim{"MoreThanADatagram", 65536, 25600}, Claim{"NegativePacketSize", 0xFFFFFFFF, 25600},
                    Claim{"HugeWindow", 1400, 20000000}, Claim{"NegativeWindow", 1400, 0x80000000},
                    Claim{"NoWindow", 1400, 0}),
    [](const auto &claim) { return std::string(claim.param.name); });

TEST_F(Handshake, HonestClaimsConnect)
{
    for (const HandshakeClaims claims : {HandshakeClaims{500, 25600}, HandshakeClaims{65535, 25600},
                                         HandshakeClaims{1400, 32}, HandshakeClaims{1400, 1000000}}) {
        RawHandshake client(server->port());
        client.send(claims);
        const std::optional<std::uint32_t> cookie = client.answeredCookie(answerMs);
        ASSERT_TRUE(cookie) << claims.packetSize << ", " << claims.flowWindow;
        HandshakeClaims connecting = claims;
        connecting.cookie = *cookie;
        client.send(connecting);
        EXPECT_TRUE(client.answeredCookie(answerMs)) << claims.packetSize << ", " << claims.flowWindow;
    }
    expectService();
}

TEST_F(Handshake, CutAndRandomDatagramsHarmNobody)
{
    RawHandshake client(server->port());
    const QByteArray whole = RawHandshake::datagram({});
    for (int size = 0; size < whole.size(); ++size)
        client.sendDatagram(whole.left(size));
    std::mt19937 random(1);
    for (int i = 0; i < 2000; ++i) {
        QByteArray bytes(static_cast<int>(random() % 100), '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(random());
        if (i % 2 == 0 && bytes.size() > 4)
            bytes.replace(0, 4, QByteArray::fromHex("80000000")); // a handshake at least
        client.sendDatagram(bytes);
    }
    expectService();
}

class HarmfulAnswer : public testing::TestWithParam<Claim>
{
};

TEST_P(HarmfulAnswer, IsNotHeardByAClient)
{
    const TempDir dir;
    ASSERT_TRUE(dir.write("file.bin", pattern(1000)));
    const auto &[name, packetSize, flowWindow] = GetParam();
    RawServer server({packetSize, flowWindow, 0});
    Program put(
        {"put", dir.path("file.bin"), QStringLiteral("vesk://127.0.0.1:%1/share").arg(server.port())});
    constexpr int notReachable = 3;
    EXPECT_EQ(put.waitForEnd(), notReachable) << put.err().toStdString();
    EXPECT_GT(server.accepted(), 0);
    EXPECT_FALSE(server.heardData());
}

INSTANTIATE_TEST_SUITE_P(Claims, HarmfulAnswer,
                         testing::Values(Claim{"NoRoomForData", 44, 25600},
                                         Claim{"HugeWindow", 1400, 20000000}, Claim{"NoWindow", 1400, 0}),
                         [](const auto &claim) { return std::string(claim.param.name); });

TEST(HonestAnswer, ConnectsAClient)
{
    const TempDir dir;
    ASSERT_TRUE(dir.write("file.bin", pattern(1000)));
    RawServer server({});
    Program put(
        {"put", dir.path("file.bin"), QStringLiteral("vesk://127.0.0.1:%1/share").arg(server.port())});
    EXPECT_TRUE(waitUntil([&] { return server.heardData(); })) << put.err().toStdString();
}

} // namespace
