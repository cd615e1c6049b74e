#include "tests/faults/support/fault_test.h"

#include "tests/operation/support/file_limits.h"

#include <stdexcept>

// A host's derived handler that throws in the middle of a transfer.

using namespace VESK;
using namespace VESK::Test;

namespace
{

class ThrowingHost : public FaultTest
{
protected:
    /// One end throws at the moment; it fails, and nothing of either end stays open.
    void expectNothingOpen(bool throwsAtSender, std::function<void()> FaultyHandler::*moment)
    {
        const int descriptors = openDescriptors();
        FileTask task = newTask();
        FaultyHandler &victim = throwsAtSender ? task.sender() : task.receiver();
        victim.*moment = [] { throw std::runtime_error("of the host"); };
        run(task);
        EXPECT_FALSE(throwsAtSender ? task.sent() : task.received());
        EXPECT_EQ(task.sender().getStream(), nullptr);
        EXPECT_EQ(task.receiver().getStream(), nullptr);
        EXPECT_EQ(openDescriptors(), descriptors);
    }
};

TEST_P(ThrowingHost, BeforeTheDataLeavesNothingOpenAtTheSender)
{
    expectNothingOpen(true, &FaultyHandler::beforeBulk);
    expectNextTaskToPlace(content);
}

TEST_P(ThrowingHost, BeforeTheDataLeavesNothingOpenAtTheReceiver)
{
    expectNothingOpen(false, &FaultyHandler::beforeBulk);
    expectNextTaskToPlace(content);
}

TEST_P(ThrowingHost, AfterTheDataLeavesNothingOpenAtTheSender)
{
    expectNothingOpen(true, &FaultyHandler::afterBulk);
}

TEST_P(ThrowingHost, AfterTheDataLeavesNothingOpenAtTheReceiver)
{
    expectNothingOpen(false, &FaultyHandler::afterBulk);
    expectNextTaskToPlace(content);
}

INSTANTIATE_TEST_SUITE_P(Transfers, ThrowingHost, testing::ValuesIn(allTransfers()), nameOfFaultTest);

} // namespace
