#include "tests/faults/support/fault_test.h"
#include "tests/faults/support/udp_relay.h"
#include "tests/support/udt_ports.h"

// A path that loses, doubles, delays and reorders: whatever it does, what arrives is what was sent.

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr std::chrono::milliseconds delay(20);

struct NamedWeather {
    const char *name;
    PathWeather weather;
};

std::ostream &operator<<(std::ostream &out, const NamedWeather &named)
{
    return out << named.name;
}

class BadPath : public testing::TestWithParam<std::tuple<Direction, NamedWeather>>
{
protected:
    /// Moves one file over a fresh relay and says whether both ends succeeded.
    bool move(FileTask &task, std::uint32_t seed)
    {
        const auto *const server = reinterpret_cast<const sockaddr_in *>(listenerAddress());
        const UdpRelay relay(*server, std::get<1>(GetParam()).weather, seed);
        const UDTSOCKET client = newConnection(reinterpret_cast<const sockaddr *>(&relay.address()));
        if (client == UDT::INVALID_SOCK)
            return false;
        const UDTSOCKET accepted = UDT::accept(listener(), nullptr, nullptr);
        const bool isMoved = task.run(client, accepted) && task.sent() && task.received();
        m_lost = relay.lost();
        UDT::close(client);
        UDT::close(accepted);
        return isMoved;
    }

    const LogRecorder log;
    const TempDir dir;
    int m_lost = 0;
};

TEST_P(BadPath, WhatArrivesIsWhatWasSent)
{
    const auto &[direction, named] = GetParam();
    FileTask task(dir, direction, "xxh128");
    task.limit = std::chrono::seconds(240);
    const QByteArray content = pattern((5 << 20) + 17);
    ASSERT_TRUE(dir.write(task.source(), content));
    ASSERT_TRUE(move(task, 20251)) << task.lastError(log, task.client).toStdString() << '\n'
                                   << task.lastError(log, task.server).toStdString();
    EXPECT_TRUE(dir.read(task.target()) == content);
    EXPECT_FALSE(dir.exists(task.temporary()));
    EXPECT_EQ(m_lost > 0, named.weather.loss > 0);
}

INSTANTIATE_TEST_SUITE_P(
    Weathers, BadPath,
    testing::Combine(testing::Values(Direction::Upload, Direction::Download),
                     testing::Values(NamedWeather{"Delay", {0, 0, 0, delay}},
                                     NamedWeather{"All", {0.01, 0.01, 0.005, delay}},
                                     NamedWeather{"Loss", {0.01, 0, 0, std::chrono::milliseconds(1)}},
                                     NamedWeather{"Duplication", {0, 0.05, 0, std::chrono::milliseconds(1)}},
                                     NamedWeather{"Reordering",
                                                  {0, 0, 0.005, std::chrono::milliseconds(1)}})),
    [](const auto &values) {
        return std::string(std::get<0>(values.param) == Direction::Upload ? "Upload" : "Download")
            + std::get<1>(values.param).name;
    });

} // namespace
