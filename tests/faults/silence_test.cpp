#include "tests/faults/support/fault_test.h"

#include "vesk_base/frame.h"

#include "tests/operation/support/operation_test.h"

#include <algorithm>

// A peer that stops in the middle: of a frame, before a message that is due, or of the data.

using namespace VESK;
using namespace VESK::Test;

namespace
{

constexpr int idleLimitMs = 1500; // of the sockets here, in place of a host's own; enough for a busy machine

enum class Manner { Silent, Closed };

/// Where a peer stops.
struct Stop {
    Direction direction;
    bool isClient; ///< the one that stops
    MessageKind kind; ///< the message that it does not send
};

std::ostream &operator<<(std::ostream &out, const Stop &stop)
{
    return out << (stop.direction == Direction::Upload ? "upload" : "download") << ", the "
               << (stop.isClient ? "client" : "server") << " before message " << number(stop.kind);
}

class PeerStops : public testing::TestWithParam<std::tuple<Stop, Manner>>
{
protected:
    void SetUp() override
    {
        for (const char *const path : {"local", "mount/area/root/in"})
            ASSERT_TRUE(dir.mkdir(path));
    }

    /// One task whose peer sends `bytes` bytes of the message and nothing more.
    void runUntil(const Stop &stop, Manner manner, int bytes)
    {
        UdtPair pair;
        for (const UDTSOCKET socket : {pair.client(), pair.server()})
            UDT::setsockopt(socket, 0, UDT_RCVTIMEO, &idleLimitMs, sizeof idleLimitMs);
        FileTask task(dir, stop.direction, "xxh128");
        ASSERT_TRUE(dir.write(task.source(), content));
        FaultyHandler &stopping = stop.isClient ? task.client : task.server;
        FaultyHandler &other = stop.isClient ? task.server : task.client;
        const UDTSOCKET socket = stop.isClient ? pair.client() : pair.server();
        stopping.beforeSend = [&](int kind) {
            if (kind != number(stop.kind))
                return true;
            sendHead(socket, kind, bytes);
            // A silent one keeps the connection until the other end has had enough of it.
            const bool given =
                manner == Manner::Closed || eventually([&] { return !other.getParam("endTime").isEmpty(); });
            EXPECT_TRUE(given) << "the other end waits on";
            UDT::close(socket);
            return false;
        };
        ASSERT_TRUE(task.run(pair.client(), pair.server())) << "a task that does not end";
        EXPECT_FALSE(task.sent());
        EXPECT_FALSE(task.received());
        expectNoShortFile(task, stop.kind);
    }

    static void sendHead(UDTSOCKET socket, int kind, int bytes)
    {
        const QByteArray frame = writeFrame(kind, "vpm1 0\n").value_or(QByteArray());
        const int size = std::min(bytes, frame.size() - 1);
        EXPECT_TRUE(size == 0 || UDT::send(socket, frame.constData(), size, 0) == size);
    }

    /// A target is whole or not there. It is there only when nothing but the closing message was missing.
    void expectNoShortFile(FileTask &task, MessageKind missing)
    {
        EXPECT_EQ(dir.exists(task.target()), missing == MessageKind::Closing);
        EXPECT_TRUE(!dir.exists(task.target()) || dir.read(task.target()) == content);
        EXPECT_TRUE(content.startsWith(dir.read(task.temporary())));
        EXPECT_EQ(task.client.getStream(), nullptr);
        EXPECT_EQ(task.server.getStream(), nullptr);
    }

    const LogRecorder log;
    const TempDir dir;
    const QByteArray content = pattern(300000);
};

TEST_P(PeerStops, TheOtherEndGivesUpAndNoShortFileIsThere)
{
    const auto &[stop, manner] = GetParam();
    // Nothing, half a header, a header, a cut text. Silence costs time, and is the same after any of them.
    const std::vector<int> cuts =
        manner == Manner::Closed ? std::vector<int>{0, 5, 12, 15} : std::vector<int>{0, 15};
    for (const int bytes : cuts) {
        SCOPED_TRACE(testing::Message() << "after " << bytes << " bytes");
        runUntil(stop, manner, bytes);
        FileTask next(dir, stop.direction, "xxh128");
        UdtPair pair;
        ASSERT_TRUE(next.run(pair.client(), pair.server()));
        EXPECT_TRUE(next.sent());
        EXPECT_TRUE(next.received());
        EXPECT_TRUE(dir.read(next.target()) == content);
        QFile::remove(dir.path(next.target()));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Moments, PeerStops,
    testing::Combine(testing::Values(Stop{Direction::Upload, true, MessageKind::TaskParam},
                                     Stop{Direction::Upload, false, MessageKind::TaskParamAck},
                                     Stop{Direction::Upload, false, MessageKind::FileVerifyResult},
                                     Stop{Direction::Upload, false, MessageKind::Closing},
                                     Stop{Direction::Download, true, MessageKind::TaskParam},
                                     Stop{Direction::Download, false, MessageKind::TaskParamAck},
                                     Stop{Direction::Download, true, MessageKind::FileVerifyResult},
                                     Stop{Direction::Download, true, MessageKind::Closing}),
                     testing::Values(Manner::Silent, Manner::Closed)));

class DataStops : public FaultTest
{
};

TEST_P(DataStops, AClosedSenderLeavesAPartialFileThatIsResumed)
{
    const QByteArray large = pattern(64 << 20);
    FileTask task = newTask();
    ASSERT_TRUE(dir.write(task.source(), large));
    const QString partial = dir.path(task.temporary());
    UdtPair pair;
    const Background fault([&] {
        const bool moved = eventually([&] { return QFileInfo(partial).size() > 0; });
        isUpload() ? pair.closeClient() : pair.closeServer();
        return moved;
    });
    ASSERT_TRUE(task.run(pair.client(), pair.server()));
    EXPECT_EQ(fault.wait(patience), true);
    expectFailure(task, large);
    EXPECT_GT(QFileInfo(partial).size(), 0);
    expectNextTaskToPlace(large);
}

TEST_P(DataStops, AReceiverThatIsGoneEndsTheSender)
{
    const QByteArray large = pattern(64 << 20);
    FileTask task = newTask();
    ASSERT_TRUE(dir.write(task.source(), large));
    UdtPair pair;
    task.receiver().beforeBulk = [&] { isUpload() ? pair.closeServer() : pair.closeClient(); };
    ASSERT_TRUE(task.run(pair.client(), pair.server()));
    expectFailure(task, large);
    expectNextTaskToPlace(large);
}

TEST_P(DataStops, ASilentSenderIsEndedByTheReceiversHost)
{
    FileTask task = newTask();
    task.limit = std::chrono::seconds(1); // then the host has had enough
    task.sender().beforeBulk = [&] {
        EXPECT_TRUE(eventually([&] { return !task.receiver().getParam("endTime").isEmpty(); }));
    };
    run(task);
    EXPECT_FALSE(task.sent());
    EXPECT_FALSE(task.received());
    EXPECT_FALSE(dir.exists(task.target()));
    EXPECT_EQ(QFileInfo(dir.path(task.temporary())).size(), 0);
    expectNextTaskToPlace(content);
}

INSTANTIATE_TEST_SUITE_P(Transfers, DataStops, testing::ValuesIn(allTransfers()), nameOfFaultTest);

} // namespace
