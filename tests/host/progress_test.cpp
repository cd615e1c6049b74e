#include "host/progress.h"

#include <gmock/gmock.h>

using namespace VESK::Host;

namespace
{

CounterReading reading(qint64 total, qint64 done, qint64 unsent = 0)
{
    return {total, done, unsent};
}

TEST(PhaseTest, IsToldByTheTwoCounters)
{
    EXPECT_EQ(phaseOf(reading(-1, -1)), Phase::Hashing);
    EXPECT_EQ(phaseOf(reading(100, -1)), Phase::Waiting);
    EXPECT_EQ(phaseOf(reading(100, 40)), Phase::Sending);
    EXPECT_EQ(phaseOf(reading(100, 100, 1)), Phase::Sending);
    EXPECT_EQ(phaseOf(reading(100, 100)), Phase::Verifying);
}

TEST(ProgressMeterTest, CountsOnlyWhatHasArrived)
{
    ProgressMeter meter;
    const ProgressView view = meter.update(0, reading(1000, 700, 300));
    EXPECT_EQ(view.arrived, 400);
    EXPECT_EQ(view.percent, 40);
}

TEST(ProgressMeterTest, NeverGoesBack)
{
    ProgressMeter meter;
    (void)meter.update(0, reading(1000, 700, 300));
    const ProgressView view = meter.update(200, reading(1000, 800, 500));
    EXPECT_EQ(view.arrived, 400);
    EXPECT_EQ(view.percent, 40);
}

TEST(ProgressMeterTest, KeepsTheLastPercentForTheEnd)
{
    ProgressMeter meter;
    const ProgressView view = meter.update(0, reading(1000, 1000));
    EXPECT_EQ(view.phase, Phase::Verifying);
    EXPECT_EQ(view.percent, 99);
}

TEST(ProgressMeterTest, LeavesResumedBytesOutOfTheSpeed)
{
    ProgressMeter meter;
    (void)meter.update(0, reading(10000, 5000));
    const ProgressView view = meter.update(1000, reading(10000, 6000));
    EXPECT_DOUBLE_EQ(view.bytesPerSecond, 1000);
    EXPECT_DOUBLE_EQ(view.secondsLeft, 4);
}

TEST(ProgressMeterTest, ForgetsOldSpeed)
{
    ProgressMeter meter;
    (void)meter.update(0, reading(100000, 0));
    (void)meter.update(1000, reading(100000, 50000));
    for (qint64 second = 2; second <= 20; ++second)
        (void)meter.update(second * 1000, reading(100000, 50000 + second));
    EXPECT_NEAR(meter.update(21000, reading(100000, 50021)).bytesPerSecond, 1, 0.01);
}

TEST(ProgressMeterTest, ShowsNoSpeedOfAnEmptyFile)
{
    ProgressMeter meter;
    const ProgressView view = meter.update(0, reading(0, 0));
    EXPECT_EQ(view.percent, 0);
    EXPECT_DOUBLE_EQ(view.bytesPerSecond, 0);
}

TEST(ProgressMeterTest, TellsSinceWhenNothingArrives)
{
    ProgressMeter meter;
    (void)meter.update(0, reading(1000, 100));
    (void)meter.update(1000, reading(1000, 200));
    (void)meter.update(9000, reading(1000, 500, 300));
    EXPECT_EQ(meter.lastMoveMs(), 1000);
}

TEST(ProgressMeterTest, TakesHashingAndWaitingForNoStall)
{
    ProgressMeter meter;
    (void)meter.update(0, reading(-1, -1));
    (void)meter.update(600000, reading(-1, -1));
    EXPECT_EQ(meter.lastMoveMs(), 600000);
    (void)meter.update(700000, reading(1000, -1));
    EXPECT_EQ(meter.lastMoveMs(), 700000);
}

TEST(ProgressMeterTest, TellsMovedBytesFromResumedOnes)
{
    ProgressMeter meter;
    EXPECT_EQ(meter.update(0, reading(10000, -1)).moved, 0);
    EXPECT_EQ(meter.update(100, reading(10000, 5000)).moved, 0);
    EXPECT_EQ(meter.update(200, reading(10000, 6000)).moved, 1000);
    EXPECT_EQ(meter.update(300, reading(10000, 6000, 500)).moved, 1000);
}

} // namespace
