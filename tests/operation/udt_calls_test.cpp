#include "tests/download/support/download_client.h"
#include "tests/download/support/download_server.h"
#include "tests/operation/support/operation_test.h"

#include <dlfcn.h>

#include <atomic>
#include <mutex>
#include <vector>

// What the handler asks of the transport library for files and for closing: this program has those functions
// itself, which write the calls down and hand them on.

namespace
{

/// A bulk call.
struct Call {
    UDTSOCKET socket;
    std::int64_t offset; // bytes, before the call
    std::int64_t size; // bytes
    int block; // bytes

    bool operator==(const Call &other) const
    {
        return socket == other.socket && offset == other.offset && size == other.size && block == other.block;
    }
};

std::mutex callsMutex;
std::vector<Call> madeCalls;
std::atomic<const std::int64_t *> lastPosition{nullptr};
std::atomic<void (*)()> beforeClose{nullptr};

using BulkCall = std::int64_t (*)(UDTSOCKET, std::fstream &, std::int64_t &, std::int64_t, int);

std::int64_t handOn(const char *name, UDTSOCKET socket, std::fstream &stream, std::int64_t &offset,
                    std::int64_t size, int block)
{
    {
        const std::lock_guard<std::mutex> lock(callsMutex);
        madeCalls.push_back({socket, offset, size, block});
    }
    lastPosition = &offset;
    const auto original = reinterpret_cast<BulkCall>(dlsym(RTLD_NEXT, name));
    return original(socket, stream, offset, size, block);
}

} // namespace

namespace UDT
{

std::int64_t sendfile(UDTSOCKET u, std::fstream &ifs, std::int64_t &offset, std::int64_t size, int block)
{
    return handOn("_ZN3UDT8sendfileEiRSt13basic_fstreamIcSt11char_traitsIcEERlli", u, ifs, offset, size,
                  block);
}

std::int64_t recvfile(UDTSOCKET u, std::fstream &ofs, std::int64_t &offset, std::int64_t size, int block)
{
    return handOn("_ZN3UDT8recvfileEiRSt13basic_fstreamIcSt11char_traitsIcEERlli", u, ofs, offset, size,
                  block);
}

int close(UDTSOCKET u)
{
    if (const auto hook = beforeClose.load())
        hook();
    static const auto original = reinterpret_cast<int (*)(UDTSOCKET)>(dlsym(RTLD_NEXT, "_ZN3UDT5closeEi"));
    return original(u);
}

} // namespace UDT

using namespace VESK;
using namespace VESK::Test;

namespace
{

std::ostream &operator<<(std::ostream &out, const Call &call)
{
    return out << call.size << " bytes from " << call.offset << " on socket " << call.socket
               << " in blocks of " << call.block;
}

std::vector<Call> takeCalls()
{
    const std::lock_guard<std::mutex> lock(callsMutex);
    return std::exchange(madeCalls, {});
}

class SendingCalls : public ClientTest
{
protected:
    SendingCalls()
        : ClientTest("upload")
    {
        takeCalls();
    }

    /// Uploads a file of `size` bytes from `offset` on.
    void upload(int size, int offset)
    {
        ASSERT_TRUE(dir.write("local/file.bin", pattern(size)));
        const RunningTask task = start();
        ASSERT_TRUE(peer.recvMap(MessageKind::TaskParam));
        ASSERT_TRUE(peer.sendMap(MessageKind::TaskParamAck,
                                 {{"ackRespond", "true"}, {"offset", QString::number(offset)}}));
        ASSERT_EQ(peer.recvBytes(size - offset), pattern(size).mid(offset));
        ASSERT_TRUE(peer.sendMap(MessageKind::Closing, {}));
        ASSERT_EQ(task.result(), true);
    }

    static constexpr int block = 364000;
};

TEST_F(SendingCalls, AreOneForTheRestOfTheFileInBlocks)
{
    upload(100000, 30000);
    EXPECT_EQ(takeCalls(), (std::vector<Call>{{handlerSocket(), 30000, 70000, block}}));
    EXPECT_EQ(lastPosition.load(), &done) << "the host's counter is what the library advances";
}

TEST_F(SendingCalls, AreOneForNothing)
{
    upload(5, 5);
    EXPECT_EQ(takeCalls(), (std::vector<Call>{{handlerSocket(), 5, 0, block}}));
}

TEST_F(SendingCalls, AreTwoWhereTheFileWouldEndWithAFullPacket)
{
    upload(14560, 0);
    EXPECT_EQ(takeCalls(),
              (std::vector<Call>{{handlerSocket(), 0, 14559, block}, {handlerSocket(), 14559, 1, block}}));
}

TEST_F(SendingCalls, AreTwoWhereTheRestOfTheFileWouldEndWithAFullPacket)
{
    upload(14570, 10);
    EXPECT_EQ(takeCalls(),
              (std::vector<Call>{{handlerSocket(), 10, 14559, block}, {handlerSocket(), 14569, 1, block}}));
}

class ReceivingCalls : public ServerTest
{
protected:
    ReceivingCalls() { takeCalls(); }

    ParamMap offer(int size) const
    {
        ParamMap map = taskParam("upload");
        map.insert("fileName", "file.bin");
        map.insert("bVerify", "false");
        map.insert("fileSize", QString::number(size));
        return map;
    }
};

TEST_F(ReceivingCalls, AreOneForTheRestOfTheFileInLargerBlocks)
{
    const QString temporary = handler().generateTmpFilePath("file.bin");
    ASSERT_TRUE(dir.write(stored(temporary), "te"));
    const RunningTask task = start();
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer(4)));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    ASSERT_TRUE(peer.sendBytes("xt"));
    ASSERT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(takeCalls(), (std::vector<Call>{{handlerSocket(), 2, 2, 7280000}}));
}

class DownloadReceivingCalls : public DownloadClientTest
{
protected:
    DownloadReceivingCalls() { takeCalls(); }

    /// The calls of a download with four bytes here of a file of `size` bytes, with `rest` to come.
    std::vector<Call> callsFor(const QString &size, const QByteArray &rest)
    {
        EXPECT_TRUE(dir.write(temporaryName(), "part"));
        set("bReplace", "false");
        const RunningTask task = start();
        answer(offer("", {{"fileSize", size}}));
        EXPECT_TRUE(peer.sendBytes(rest));
        expectClosing();
        EXPECT_EQ(task.result(), true);
        return takeCalls();
    }
};

TEST_F(DownloadReceivingCalls, AreOneForTheRestOfTheFileInLargerBlocks)
{
    EXPECT_EQ(callsFor("7", "ial"), (std::vector<Call>{{handlerSocket(), 4, 3, 7280000}}));
    EXPECT_EQ(lastPosition.load(), &done) << "the host's counter is what the library advances";
}

TEST_F(DownloadReceivingCalls, AreOneForASizeBelowTheOffsetToo)
{
    EXPECT_EQ(callsFor("-1", ""), (std::vector<Call>{{handlerSocket(), 4, -5, 7280000}}));
}

TEST_F(DownloadReceivingCalls, NeverAskForMoreThanTheSize)
{
    const std::vector<Call> calls = callsFor("-9223372036854775808", "");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_LT(calls[0].size, 0);
}

class DownloadSendingCalls : public DownloadServerTest
{
};

TEST_F(DownloadSendingCalls, AreOneForTheRestOfTheFileInBlocks)
{
    offer("0123456789");
    takeCalls();
    const RunningTask task = start();
    ask(taskFor({{"offset", "3"}}));
    EXPECT_EQ(peer.recvBytes(7), QByteArray("3456789"));
    ASSERT_TRUE(close());
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(takeCalls(), (std::vector<Call>{{handlerSocket(), 3, 7, 364000}}));
}

/// The handler whose mutex is tried while somebody holds it.
std::atomic<VeskHandler2_0_0 *> suspect{nullptr};
std::mutex attemptMutex;
std::vector<std::unique_ptr<Background<std::function<bool()>>>> attempts;

/// Asks for the status, which takes the mutex, on another thread; true when that takes longer than `limit`.
bool isLocked(std::chrono::milliseconds limit)
{
    VeskHandler2_0_0 *const handler = suspect;
    auto attempt = std::make_unique<Background<std::function<bool()>>>(
        [handler] { return handler->getStatus().isNull() || true; });
    const bool waits = !attempt->wait(limit);
    const std::lock_guard<std::mutex> lock(attemptMutex);
    attempts.push_back(std::move(attempt)); // its end waits for the mutex to be free
    return waits;
}

constexpr std::chrono::milliseconds shortWait(50); // where the mutex ought to be held

/// Tries its own mutex at the calls that it makes to its base.
class WatchedHandler : public VeskHandler2_0_0
{
public:
    WatchedHandler() { suspect = this; }

    ~WatchedHandler() override
    {
        const std::lock_guard<std::mutex> lock(attemptMutex);
        attempts.clear(); // waits for all who still wait for the mutex
    }

    /// From now on; at the given calls the mutex ought to be held.
    void watch(const QStringList &held)
    {
        m_held = held;
        m_isWatching = true;
    }
    QStringList locked() const { return m_locked; }
    QStringList unlocked() const { return m_unlocked; }

    void note(const QString &call)
    {
        if (m_isWatching)
            (isLocked(m_held.contains(call) ? shortWait : patience) ? m_locked : m_unlocked) << call;
    }

    QString getParam(const QString &key, const QString &defaultValue) override
    {
        note("get " + key);
        return VeskHandler2_0_0::getParam(key, defaultValue);
    }
    bool setParam(const QString &key, const QString &value) override
    {
        note("set " + key);
        return VeskHandler2_0_0::setParam(key, value);
    }
    void log(const QString &level, const QString &message) override
    {
        note(level);
        VeskHandler2_0_0::log(level, message);
    }

private:
    bool m_isWatching = false;
    QStringList m_held;
    QStringList m_locked;
    QStringList m_unlocked;
};

class HandlersMutex : public ServerTest
{
protected:
    HandlersMutex()
        : m_handler(useHandler<WatchedHandler>())
    {
    }

    ~HandlersMutex() override { beforeClose = nullptr; }

    WatchedHandler &m_handler;
};

TEST_F(HandlersMutex, IsHeldByAStopFromItsFirstQuestionToTheClosedSocket)
{
    static std::atomic<int> closedUnderLock{0};
    beforeClose = [] { closedUnderLock += isLocked(shortWait) ? 1 : 0; };
    const QStringList calls{"get endPoint", "get operator", "get serverSocket"};
    m_handler.watch(calls);
    EXPECT_TRUE(handler().pause());
    beforeClose = nullptr;
    EXPECT_EQ(closedUnderLock, 1);
    EXPECT_EQ(m_handler.locked(), calls);
    EXPECT_EQ(m_handler.unlocked(), QStringList());
}

TEST_F(HandlersMutex, IsHeldWhenAStopReportsThatThereIsNoSocket)
{
    set("serverSocket", "-1");
    const QStringList calls{"get endPoint", "get operator", "get serverSocket", "error"};
    m_handler.watch(calls);
    EXPECT_FALSE(handler().cancel());
    EXPECT_EQ(m_handler.locked(), calls);
    EXPECT_EQ(m_handler.unlocked(), QStringList());
}

TEST_F(HandlersMutex, IsHeldWhileAStreamIsCreated)
{
    ASSERT_TRUE(dir.write("file", "text"));
    const QStringList calls{"set beginTime", "error"};
    m_handler.watch(calls);
    EXPECT_TRUE(handler().createStream(dir.path("file"), 33));
    handler().destroyStream();
    EXPECT_FALSE(handler().createStream(dir.path("missing"), 33));
    EXPECT_EQ(m_handler.locked(), calls);
    EXPECT_EQ(m_handler.unlocked(), QStringList());
}

TEST_F(HandlersMutex, IsFreeAtEveryOtherCallOfATask)
{
    m_handler.watch({"set beginTime"});
    const RunningTask task = start();
    ParamMap offer = taskParam("upload");
    for (const auto &entry :
         {std::make_pair("fileName", "file.bin"), {"bVerify", "false"}, {"fileSize", "4"}})
        offer.insert(entry.first, entry.second);
    ASSERT_TRUE(peer.sendMap(MessageKind::TaskParam, offer));
    ASSERT_TRUE(peer.recvMap(MessageKind::TaskParamAck));
    ASSERT_TRUE(peer.sendBytes("text"));
    ASSERT_TRUE(peer.recvMap(MessageKind::Closing));
    EXPECT_EQ(task.result(), true);
    EXPECT_EQ(m_handler.locked(), QStringList{"set beginTime"});
    EXPECT_TRUE(m_handler.unlocked().contains("set transferEndSize"));
    EXPECT_TRUE(m_handler.unlocked().contains("set respondStatus"));
}

} // namespace
