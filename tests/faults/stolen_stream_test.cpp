#include "tests/faults/support/fault_test.h"
#include "tests/operation/support/operation_test.h"

#include <atomic>
#include <fstream>
#include <memory>
#include <sched.h>
#include <thread>
#include <unistd.h>

// A host's other thread that takes the stream away the moment the handler has made it.

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// May the calling thread run on this core only, and only while no ordinary thread wants it?
void stayOn(int core, int policy)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    (void)sched_setaffinity(0, sizeof cores, &cores); // without it the thief only needs more attempts
    const sched_param priority{};
    (void)sched_setscheduler(0, policy, &priority);
}

char stateOfThread(pid_t thread)
{
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string number;
    std::string name;
    char state = '?';
    stat >> number >> name >> state;
    return state;
}

/// Waits for a handler's mutex while the handler makes its stream, and takes the stream when it is released.
class Thief
{
public:
    explicit Thief(VeskHandler2_0_0 &handler)
        : m_handler(handler)
    {
    }

    /// Called by the handler's thread, which holds the mutex. That thread then gives way to the thief, who
    /// runs on the same core, as soon as the mutex is free.
    void lieInWait()
    {
        const int core = sched_getcpu();
        m_hunt = std::thread([this, core] {
            stayOn(core, SCHED_OTHER);
            m_thread = gettid();
            m_loot.reset(m_handler.getStream());
            m_handler.setStream(nullptr);
        });
        EXPECT_TRUE(eventually([&] { return m_thread != 0 && stateOfThread(m_thread) == 'S'; }));
        stayOn(core, SCHED_IDLE);
    }

    ~Thief()
    {
        if (m_hunt.joinable())
            m_hunt.join();
    }

private:
    VeskHandler2_0_0 &m_handler;
    std::atomic<pid_t> m_thread{0};
    std::unique_ptr<std::fstream> m_loot;
    std::thread m_hunt;
};

/// The direction, and whether the sender is robbed.
class StolenStream : public testing::TestWithParam<std::tuple<Direction, bool>>
{
protected:
    const LogRecorder log;
    const TempDir dir;
};

TEST_P(StolenStream, IsReportedBeforeAByteMoves)
{
    const auto &[direction, fromSender] = GetParam();
    const QString end = direction == Direction::Upload ? (fromSender ? "uploadRequest" : "uploadRespond")
                                                       : (fromSender ? "downloadRespond" : "downloadRequest");
    constexpr int attempts = 100; // the handler may be quicker than the thief
    bool isRobbed = false;
    for (int attempt = 0; attempt < attempts && !isRobbed; ++attempt) {
        FileTask task(dir, direction, "false");
        ASSERT_TRUE(dir.write(task.source(), pattern(10000)));
        QFile::remove(dir.path(task.target()));
        FaultyHandler &victim = fromSender ? task.sender() : task.receiver();
        Thief thief(victim);
        victim.beforeBulk = [&] { thief.lieInWait(); };
        UdtPair pair;
        ASSERT_TRUE(task.run(pair.client(), pair.server()));
        if (fromSender ? task.sent() : task.received())
            continue;
        isRobbed = true;
        EXPECT_EQ(task.lastError(log, victim),
                  end + ": getStream " + dir.path(fromSender ? task.source() : task.target()) + " failed.");
        EXPECT_NE(victim.getParam("beginTime"), "");
        EXPECT_EQ(victim.getParam("transferEndSize"), "");
        EXPECT_FALSE(dir.exists(task.target()));
        EXPECT_EQ(dir.read(task.temporary()), "");
    }
    EXPECT_TRUE(isRobbed) << "the handler was always quicker";
}

INSTANTIATE_TEST_SUITE_P(Ends, StolenStream,
                         testing::Combine(testing::Values(Direction::Upload, Direction::Download),
                                          testing::Bool()),
                         [](const auto &values) {
                             const bool isUpload = std::get<0>(values.param) == Direction::Upload;
                             return std::string(isUpload ? "Upload" : "Download")
                                 + (std::get<1>(values.param) ? "Sender" : "Receiver");
                         });

} // namespace
