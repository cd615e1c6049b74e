#include "tests/faults/support/fault_test.h"

#include "tests/operation/support/operation_test.h"

// Two tasks for one target at the same time.

using namespace VESK;
using namespace VESK::Test;

namespace
{

class OneTarget : public FaultTest
{
};

TEST_P(OneTarget, ASecondTaskIsRefusedWhileOneRunsAndHarmsItNot)
{
    FileTask first = newTask();
    FileTask second = newTask();
    first.receiver().afterBulk = [&] {
        run(second);
        EXPECT_FALSE(second.sent());
        EXPECT_FALSE(second.received());
        EXPECT_EQ(second.lastError(log, second.receiver()),
                  receiverName() + ": setParam tmpFilePath " + dir.path(first.temporary()) + " failed.");
        EXPECT_TRUE(dir.read(first.temporary()) == content);
    };
    run(first);
    EXPECT_TRUE(first.sent());
    EXPECT_TRUE(first.received());
    EXPECT_TRUE(dir.read(first.target()) == content);
}

TEST_P(OneTarget, ManyTasksAtOnceLeaveTheWholeFile)
{
    constexpr int tasks = 6;
    std::vector<std::unique_ptr<Background<std::function<bool()>>>> running;
    for (int i = 0; i < tasks; ++i)
        running.push_back(std::make_unique<Background<std::function<bool()>>>([this]() -> bool {
            FileTask task = newTask();
            task.limit = std::chrono::seconds(8); // a client that keeps its file as it is never speaks
            UdtPair pair;
            return task.run(pair.client(), pair.server());
        }));
    for (const auto &task : running)
        EXPECT_EQ(task->wait(std::chrono::seconds(60)), true);
    FileTask last = newTask();
    EXPECT_TRUE(dir.read(last.target()) == content);
    EXPECT_FALSE(dir.exists(last.temporary()));
}

INSTANTIATE_TEST_SUITE_P(Transfers, OneTarget, testing::ValuesIn(allTransfers()), nameOfFaultTest);

} // namespace
