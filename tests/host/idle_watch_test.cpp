#include "host/server/idle_watch.h"

#include "tests/support/soon.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <optional>

using namespace VESK::Host;
using std::chrono::milliseconds;
using VESK::Test::soon;

namespace
{

constexpr milliseconds quiet(50);

TEST(IdleWatchTest, ActsWhenTheLastVisitorIsGone)
{
    std::promise<void> acted;
    IdleWatch watch(quiet, [&] { acted.set_value(); });
    std::optional<IdleWatch::Visit> first(watch);
    std::optional<IdleWatch::Visit> second(watch);
    std::future<void> action = acted.get_future();
    first.reset();
    EXPECT_EQ(action.wait_for(4 * quiet), std::future_status::timeout);
    second.reset();
    EXPECT_EQ(action.wait_for(soon), std::future_status::ready);
}

TEST(IdleWatchTest, ActsOnceAfterEachBusyTime)
{
    std::promise<void> first;
    std::promise<void> second;
    std::atomic<int> count{0};
    IdleWatch watch(quiet, [&] {
        const int number = ++count;
        if (number <= 2)
            (number == 1 ? first : second).set_value();
    });
    {
        const IdleWatch::Visit visit(watch);
    }
    ASSERT_EQ(first.get_future().wait_for(soon), std::future_status::ready);
    std::future<void> again = second.get_future();
    EXPECT_EQ(again.wait_for(4 * quiet), std::future_status::timeout);
    {
        const IdleWatch::Visit visit(watch);
    }
    EXPECT_EQ(again.wait_for(soon), std::future_status::ready);
    EXPECT_EQ(count, 2);
}

TEST(IdleWatchTest, NeverActsBeforeTheFirstVisit)
{
    std::promise<void> acted;
    IdleWatch watch(milliseconds(0), [&] { acted.set_value(); });
    EXPECT_EQ(acted.get_future().wait_for(4 * quiet), std::future_status::timeout);
}

TEST(IdleWatchTest, EndsWithoutWaitingForTheQuietTime)
{
    IdleWatch watch(std::chrono::hours(1), [] { FAIL(); });
    {
        const IdleWatch::Visit visit(watch);
    }
}

TEST(IdleWatchTest, TellsWhetherAVisitorIsStillThere)
{
    IdleWatch watch(quiet, [] {});
    EXPECT_TRUE(watch.waitUntilIdle(milliseconds(0)));
    std::optional<IdleWatch::Visit> visit(watch);
    EXPECT_FALSE(watch.waitUntilIdle(quiet));
    auto waiting = std::async(std::launch::async, [&] { return watch.waitUntilIdle(soon); });
    visit.reset();
    EXPECT_TRUE(waiting.get());
}

} // namespace
