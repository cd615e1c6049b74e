#include "host/client/connection_tuner.h"
#include "host/client/rate_budget.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using VESK::Host::ConnectionTuner;
using VESK::Host::RateBudget;

namespace
{

// A run against a server and a line that are told by `perSecond`: the bytes and tasks that so many
// connections get done in a second. Connections stand as soon as they are wanted.
class ScriptedRun
{
public:
    struct Rate {
        double bytes;
        double tasks;
    };

    ScriptedRun(ConnectionTuner &tuner, std::function<Rate(int)> perSecond)
        : m_tuner(tuner)
        , m_perSecond(std::move(perSecond))
    {
    }

    // The number wanted after so much more time.
    int after(double seconds)
    {
        constexpr qint64 stepMs = 20;
        int wanted = 0;
        for (const qint64 endMs = m_reading.nowMs + static_cast<qint64>(seconds * 1000);
             m_reading.nowMs < endMs; m_reading.nowMs += stepMs) {
            const Rate rate = m_perSecond(m_reading.connected);
            m_bytes += rate.bytes * stepMs / 1000;
            m_tasks += rate.tasks * stepMs / 1000;
            m_reading.bytes = static_cast<qint64>(m_bytes);
            m_reading.tasks = static_cast<qint64>(m_tasks);
            wanted = m_tuner.update(m_reading);
            m_highest = std::max(m_highest, wanted);
            m_reading.connected = wanted;
        }
        return wanted;
    }

    ConnectionTuner::Reading &reading() { return m_reading; }
    int highest() const { return m_highest; }

private:
    ConnectionTuner &m_tuner;
    const std::function<Rate(int)> m_perSecond;
    ConnectionTuner::Reading m_reading;
    double m_bytes = 0;
    double m_tasks = 0;
    int m_highest = 0;
};

ScriptedRun::Rate smallFiles(int connections)
{
    return {connections * 100e3, connections * 10.0};
}

TEST(ConnectionTunerTest, WantsOneUntilTheFirstStands)
{
    ConnectionTuner tuner(0);
    ConnectionTuner::Reading reading;
    reading.waiting = 1000;
    EXPECT_EQ(tuner.update(reading), 1);
    ConnectionTuner fixed(8);
    EXPECT_EQ(fixed.update(reading), 1);
}

TEST(ConnectionTunerTest, TakesTheNumberThatWasGiven)
{
    ConnectionTuner tuner(8);
    ScriptedRun run(tuner, smallFiles);
    run.reading().connected = 1;
    run.reading().waiting = 1000;
    EXPECT_EQ(run.after(5), 8);
    EXPECT_EQ(run.highest(), 8);
}

TEST(ConnectionTunerTest, GrowsToTheMostWhileItHelps)
{
    ConnectionTuner tuner(0);
    ScriptedRun run(tuner, smallFiles);
    run.reading().connected = 1;
    run.reading().waiting = 1000;
    EXPECT_EQ(run.after(1), ConnectionTuner::most) << "small files must not wait long for it";
    EXPECT_EQ(run.after(60), ConnectionTuner::most);
}

TEST(ConnectionTunerTest, BeginsWithTheMostForManySmallFiles)
{
    const auto wantedFor = [](int files, qint64 bytes) {
        ConnectionTuner tuner(0);
        ConnectionTuner::Reading reading;
        reading.connected = 1;
        reading.waiting = files;
        reading.waitingBytes = bytes;
        return tuner.update(reading);
    };
    EXPECT_EQ(wantedFor(256, 256 * 10000), ConnectionTuner::most);
    EXPECT_LE(wantedFor(12, 12 * 10000), 4);
    EXPECT_LE(wantedFor(256, 256 * qint64(1000000)), 16);
    EXPECT_LE(wantedFor(256, -1), 16) << "nobody knows";
}

TEST(ConnectionTunerTest, GoesBackWhenTheLineIsFull)
{
    ConnectionTuner tuner(0);
    ScriptedRun run(tuner, [](int) { return ScriptedRun::Rate{10e6, 0.1}; });
    run.reading().connected = 1;
    run.reading().waiting = 1000;
    EXPECT_LE(run.after(8), 16);
    EXPECT_LE(run.highest(), 32);
}

TEST(ConnectionTunerTest, HasNoMoreThanTheTasksNeed)
{
    ConnectionTuner tuner(0);
    ScriptedRun run(tuner, smallFiles);
    run.reading().connected = 1;
    run.reading().waiting = 3;
    (void)run.after(0.05);
    run.reading().waiting = 0;
    EXPECT_LE(run.after(10), 4);
}

TEST(ConnectionTunerTest, StopsWhereTheServerTakesNoMore)
{
    ConnectionTuner tuner(0);
    ScriptedRun run(tuner, smallFiles);
    run.reading().connected = 1;
    run.reading().waiting = 1000;
    (void)run.after(5);
    tuner.refused(5, run.reading().nowMs);
    EXPECT_EQ(run.after(20), 5);
    EXPECT_GT(run.after(60), 5) << "others may have left";
}

TEST(ConnectionTunerTest, SoonReplacesTheOnesThatWereLost)
{
    ConnectionTuner tuner(8);
    ScriptedRun run(tuner, smallFiles);
    run.reading().connected = 1;
    run.reading().waiting = 1000;
    (void)run.after(5);
    tuner.lost(6, run.reading().nowMs);
    EXPECT_EQ(run.after(1), 6);
    EXPECT_EQ(run.after(2), 8);
}

TEST(ConnectionTunerTest, ShrinksWhenMemoryIsShort)
{
    ConnectionTuner tuner(0);
    ScriptedRun run(tuner, smallFiles);
    run.reading().connected = 1;
    run.reading().waiting = 1000;
    (void)run.after(5);
    run.reading().affordable = 3;
    EXPECT_EQ(run.after(5), 3);
    ConnectionTuner fixed(8);
    EXPECT_EQ(fixed.update(run.reading()), 3);
    run.reading().affordable = 0;
    EXPECT_EQ(run.after(1), 1);
}

TEST(ConnectionTunerTest, ShrinksWhenConnectionsAreLost)
{
    ConnectionTuner tuner(0);
    ScriptedRun run(tuner, smallFiles);
    run.reading().connected = 1;
    run.reading().waiting = 1000;
    const int before = run.after(5);
    ++run.reading().losses;
    EXPECT_LT(run.after(1), before);
    EXPECT_GE(run.after(1), before / 2);
}

TEST(RateBudgetTest, GivesAllToATaskAlone)
{
    RateBudget budget(1000);
    EXPECT_EQ(budget.take(1), 1000);
}

TEST(RateBudgetTest, CutsEqualPartsForThoseExpected)
{
    RateBudget budget(1000);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(budget.take(4), 250);
    budget.giveBack(250);
    EXPECT_EQ(budget.take(4), 250);
}

TEST(RateBudgetTest, NeverGivesNothing)
{
    RateBudget budget(1000);
    (void)budget.take(1);
    EXPECT_GT(budget.take(2), 0);
    EXPECT_LE(budget.take(3), 1000 / 8);
}

TEST(RateBudgetTest, IsNoneWithoutALimit)
{
    RateBudget budget(0);
    EXPECT_EQ(budget.take(1), 0);
    EXPECT_EQ(budget.take(5), 0);
}

} // namespace
