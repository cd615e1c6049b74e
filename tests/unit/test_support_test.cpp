#include "tests/support/background.h"
#include "tests/support/log_recorder.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/temp_dir.h"
#include "tests/support/udt_pair.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace VESK;
using namespace VESK::Test;

namespace
{

TEST(UdtPair, CarriesBytesBothWays)
{
    const UdtPair pair;
    ScriptedPeer client(pair.client(), QStringLiteral("client"));
    ScriptedPeer server(pair.server(), QStringLiteral("server"));

    ASSERT_TRUE(server.sendBytes("from the server"));
    EXPECT_EQ(client.recvBytes(15), QByteArray("from the server"));
    ASSERT_TRUE(client.sendBytes("from the client"));
    EXPECT_EQ(server.recvBytes(15), QByteArray("from the client"));
}

TEST(UdtPair, KeepsManyPairsApart)
{
    std::vector<std::unique_ptr<UdtPair>> pairs;
    for (int i = 0; i < 20; ++i)
        pairs.push_back(std::make_unique<UdtPair>());
    for (int i = 0; i < 20; ++i) {
        ScriptedPeer client(pairs[static_cast<size_t>(i)]->client(), QStringLiteral("client"));
        ASSERT_TRUE(client.sendMap(MessageKind::TaskParam, {{QStringLiteral("number"), QString::number(i)}}));
    }
    for (int i = 0; i < 20; ++i) {
        ScriptedPeer server(pairs[static_cast<size_t>(i)]->server(), QStringLiteral("server"));
        const auto map = server.recvMap(MessageKind::TaskParam);
        ASSERT_TRUE(map);
        EXPECT_EQ(map->value(QStringLiteral("number")), QString::number(i));
    }
}

TEST(UdtPair, ClosingAnEndWakesItsReader)
{
    UdtPair pair;
    ScriptedPeer client(pair.client(), QStringLiteral("client"));
    const Background reader([&] { return client.recvBytes(1); });
    EXPECT_FALSE(reader.wait(std::chrono::milliseconds(20)));
    pair.closeClient();
    EXPECT_EQ(reader.wait(std::chrono::seconds(10)), QByteArray());
}

TEST(TempDir, ListsWhatWasWritten)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write(QStringLiteral("b/.hidden"), "1"));
    ASSERT_TRUE(directory.write(QStringLiteral("a"), pattern(3)));
    EXPECT_EQ(directory.entries(),
              QStringList({QStringLiteral("a"), QStringLiteral("b/"), QStringLiteral("b/.hidden")}));
    EXPECT_EQ(directory.read(QStringLiteral("a")), pattern(100).left(3));
    EXPECT_TRUE(directory.exists(QStringLiteral("b/.hidden")));
    EXPECT_TRUE(directory.read(QStringLiteral("c")).isNull());
}

TEST(LogRecorder, TellsHandlersApart)
{
    const LogRecorder recorder;
    VeskBase first;
    VeskBase second;
    first.log(QStringLiteral("info"), QStringLiteral("one"));
    second.log(QStringLiteral("error"), QStringLiteral("two"));
    EXPECT_EQ(recorder.lines(), QStringList({QStringLiteral("info|one"), QStringLiteral("error|two")}));
    EXPECT_EQ(recorder.lines(&second), QStringList({QStringLiteral("error|two")}));
}

TEST(Background, HasNoResultBeforeTheCallableEnds)
{
    std::promise<void> goOn;
    const Background task([&] { goOn.get_future().wait(); });
    EXPECT_FALSE(task.wait(std::chrono::milliseconds(10)));
    goOn.set_value();
    EXPECT_EQ(task.wait(std::chrono::seconds(10)), true);
}

} // namespace
