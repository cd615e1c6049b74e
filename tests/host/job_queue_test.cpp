#include "host/client/interruption.h"
#include "host/client/job_queue.h"

#include "tests/support/soon.h"

#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <thread>

using namespace VESK::Host;
using VESK::Test::soon;

namespace
{

constexpr std::chrono::milliseconds moment{50}; // in which something that may not happen would

JobQueue::Work work(const char *name)
{
    TaskJob job;
    job.fileName = QString::fromUtf8(name);
    return {job, [](const TaskEnd &) {}, {}, {}};
}

std::future<void> push(JobQueue &queue, const char *name)
{
    return std::async(std::launch::async, [&queue, name] { queue.push(work(name)); });
}

TEST(JobQueueTest, GivesTasksInTheirOrder)
{
    JobQueue queue(10);
    queue.push(work("a"));
    queue.push(work("b"));
    EXPECT_EQ(queue.waiting(), 2U);
    EXPECT_EQ(queue.take()->job.fileName, QStringLiteral("a"));
    EXPECT_EQ(queue.take()->job.fileName, QStringLiteral("b"));
    EXPECT_EQ(queue.out(), 2U);
}

TEST(JobQueueTest, MakesTheFinderWaitWhenItIsFull)
{
    JobQueue queue(1);
    queue.push(work("a"));
    std::future<void> second = push(queue, "b");
    EXPECT_EQ(second.wait_for(moment), std::future_status::timeout);
    (void)queue.take();
    EXPECT_EQ(second.wait_for(soon), std::future_status::ready);
}

TEST(JobQueueTest, NeverHasTwoTasksForOneTargetOut)
{
    JobQueue queue(10);
    queue.push(work("a"));
    const std::optional<JobQueue::Work> first = queue.take();
    std::future<void> second = push(queue, "a");
    EXPECT_EQ(second.wait_for(moment), std::future_status::timeout);
    queue.done(*first);
    EXPECT_EQ(second.wait_for(soon), std::future_status::ready);
}

TEST(JobQueueTest, GivesWhatWasPutBackFirst)
{
    JobQueue queue(10);
    queue.push(work("a"));
    queue.push(work("b"));
    queue.putBack(*queue.take());
    EXPECT_EQ(queue.take()->job.fileName, QStringLiteral("a"));
}

TEST(JobQueueTest, GivesOthersUntilATaskIsDue)
{
    JobQueue queue(10);
    for (const char *const name : {"a", "b", "c"})
        queue.push(work(name));
    JobQueue::Work later = *queue.take();
    later.due = JobQueue::Clock::now() + 2 * moment;
    later.attempts.failures = 3;
    const JobQueue::Clock::time_point due = later.due;
    queue.putBack(std::move(later));
    EXPECT_EQ(queue.take()->job.fileName, QStringLiteral("b"));
    EXPECT_EQ(queue.take()->job.fileName, QStringLiteral("c"));
    const std::optional<JobQueue::Work> again = queue.take();
    EXPECT_GE(JobQueue::Clock::now(), due);
    EXPECT_EQ(again->job.fileName, QStringLiteral("a"));
    EXPECT_EQ(again->attempts.failures, 3);
}

TEST(JobQueueTest, WaitsForNothingOnceItIsHurried)
{
    JobQueue queue(10);
    queue.push(work("a"));
    JobQueue::Work later = *queue.take();
    later.due = JobQueue::Clock::now() + std::chrono::hours(1);
    queue.putBack(later);
    std::future<std::optional<JobQueue::Work>> next =
        std::async(std::launch::async, [&queue] { return queue.take(); });
    EXPECT_EQ(next.wait_for(moment), std::future_status::timeout);
    queue.hurry();
    ASSERT_EQ(next.wait_for(soon), std::future_status::ready);
    queue.putBack(*next.get());
    EXPECT_TRUE(queue.take());
}

TEST(JobQueueTest, EndsOnlyWhenNothingCanBePutBackAnyMore)
{
    JobQueue queue(10);
    queue.push(work("a"));
    const std::optional<JobQueue::Work> out = queue.take();
    queue.close();
    std::future<std::optional<JobQueue::Work>> next =
        std::async(std::launch::async, [&queue] { return queue.take(); });
    EXPECT_EQ(next.wait_for(moment), std::future_status::timeout);
    queue.done(*out);
    ASSERT_EQ(next.wait_for(soon), std::future_status::ready);
    EXPECT_FALSE(next.get());
}

TEST(InterruptionTest, StopsEverythingThatRunsOnce)
{
    Interruption interruption;
    int first = 0;
    int second = 0;
    const Interruption::StopAction one(interruption, [&first] { ++first; });
    {
        const Interruption::StopAction gone(interruption, [&second] { ++second; });
    }
    interruption.raise(SIGTERM);
    interruption.raise(SIGINT);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(interruption.signal(), SIGTERM);
    EXPECT_FALSE(interruption.discards());
    const Interruption::StopAction late(interruption, [&second] { ++second; });
    EXPECT_EQ(second, 1);
    EXPECT_FALSE(interruption.wait(0));
}

TEST(InterruptionTest, DiscardsAtTheSecondTime)
{
    Interruption interruption;
    interruption.raise(SIGINT);
    EXPECT_FALSE(interruption.waitForDiscard(0));
    interruption.raise(SIGINT);
    EXPECT_TRUE(interruption.waitForDiscard(0));
}

TEST(InterruptionTest, DiscardsAtOnceWhenToldSo)
{
    Interruption interruption;
    interruption.discardAtFirst();
    bool discarded = false;
    const Interruption::StopAction action(interruption, [&] { discarded = interruption.discards(); });
    interruption.raise(SIGINT);
    EXPECT_TRUE(discarded);
}

TEST(InterruptionTest, TellsALimitFromASignal)
{
    Interruption interruption;
    interruption.reachLimit(QStringLiteral("so much"));
    EXPECT_TRUE(interruption.isRaised());
    EXPECT_EQ(interruption.signal(), 0);
    EXPECT_EQ(interruption.limit(), QStringLiteral("so much"));
}

} // namespace
