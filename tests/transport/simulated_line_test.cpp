#include "tests/transport/simulated_line.h"

#include <gtest/gtest.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

/// Share of the line that all flows together used for new data in the next `seconds`.
double useOf(SimulatedLine *line, int flows, double seconds)
{
    const auto acknowledged = [&] {
        double sum = 0;
        for (int i = 0; i < flows; ++i)
            sum += line->flow(i).acknowledged;
        return sum;
    };
    const double before = acknowledged();
    line->run(seconds);
    return (acknowledged() - before) / seconds / line->settings.packetsPerSecond;
}

TEST(ACleanLine, IsUsedWhollyAfterAFewRoundTrips)
{
    SimulatedLine line({10000, 100000, 100000});
    line.run(0.8);
    EXPECT_GT(useOf(&line, 1, 5), 0.95);
}

TEST(ACleanLine, IsLeftWithoutAQueueMostOfTheTime)
{
    SimulatedLine line({10000, 100000, 200000});
    line.run(3);
    int quiet = 0;
    for (int i = 0; i < 500; ++i) {
        line.run(0.01);
        quiet += line.queueUs() < 15000 ? 1 : 0;
    }
    EXPECT_GT(quiet, 350);
}

TEST(ACleanLine, LosesNothingByTheStartOfATransfer)
{
    SimulatedLine line({10000, 100000, 100000});
    line.run(3);
    EXPECT_LT(line.longestQueueUs(), 100000);
    EXPECT_EQ(line.flow(0).sender.lost(), 0U);
}

TEST(AFastLine, IsFoundToBeFast)
{
    SimulatedLine line({50000, 200000, 100000});
    line.run(2.5);
    EXPECT_GT(useOf(&line, 1, 3), 0.9);
}

TEST(ASlowLine, IsNotFlooded)
{
    SimulatedLine line({200, 40000, 200000});
    line.run(2);
    line.forgetLongestQueue();
    EXPECT_GT(useOf(&line, 1, 5), 0.85);
    EXPECT_LT(line.longestQueueUs(), 200000);
}

TEST(ALossyLine, IsUsedAllTheSame)
{
    for (const double loss : {0.001, 0.01, 0.03}) {
        LineSettings settings{10000, 100000, 100000};
        settings.loss = loss;
        SimulatedLine line(settings);
        line.run(1);
        EXPECT_GT(useOf(&line, 1, 5), 0.93 - 2 * loss) << loss;
    }
}

TEST(ALossyLine, CarriesNoPacketThatWasNotLost)
{
    LineSettings settings{10000, 100000, 100000};
    settings.loss = 0.02;
    SimulatedLine line(settings);
    line.run(5);
    const SimulatedLine::Flow &flow = line.flow(0);
    const double repeated = static_cast<double>(flow.sent) - flow.next;
    EXPECT_LT(repeated / flow.next, 0.025);
    EXPECT_GT(repeated / flow.next, 0.015);
}

TEST(AReorderingLine, IsUsedWithoutRepeatingWhatWasOvertaken)
{
    LineSettings settings{10000, 50000, 50000};
    settings.jitterUs = 2000;
    SimulatedLine line(settings);
    line.run(1);
    const auto sentBefore = static_cast<double>(line.flow(0).sent);
    const int newBefore = line.flow(0).next;
    EXPECT_GT(useOf(&line, 1, 5), 0.9);
    const double sentNew = line.flow(0).next - newBefore;
    EXPECT_LT(static_cast<double>(line.flow(0).sent) - sentBefore, sentNew * 1.02);
}

TEST(ALineThatWraps, IsUsedLikeAnyOther)
{
    LineSettings settings{10000, 50000, 50000};
    settings.loss = 0.01;
    settings.first = 0x7FFFFFFF - 20000; // two seconds away
    SimulatedLine line(settings);
    line.run(1);
    EXPECT_GT(useOf(&line, 1, 4), 0.9);
}

TEST(ALineThatSlowsDown, IsFollowed)
{
    SimulatedLine line({10000, 50000, 100000});
    line.run(2);
    line.settings.packetsPerSecond = 2500;
    line.run(3);
    line.forgetLongestQueue();
    EXPECT_GT(useOf(&line, 1, 3), 0.9);
    EXPECT_LT(line.longestQueueUs(), 80000);
}

TEST(ALineThatSpeedsUp, IsFollowed)
{
    SimulatedLine line({2500, 50000, 100000});
    line.run(2);
    line.settings.packetsPerSecond = 10000;
    line.run(3);
    EXPECT_GT(useOf(&line, 1, 3), 0.9);
}

TEST(TwoFlows, ShareALine)
{
    SimulatedLine line({10000, 50000, 50000}, 2);
    line.flow(1).isActive = false;
    line.run(3);
    line.flow(1).isActive = true;
    line.run(15);
    const int first = line.flow(0).acknowledged;
    const int second = line.flow(1).acknowledged;
    EXPECT_GT(useOf(&line, 2, 10), 0.9);
    const double a = line.flow(0).acknowledged - first;
    const double b = line.flow(1).acknowledged - second;
    EXPECT_GT(std::min(a, b) / (a + b), 0.4);
}

} // namespace
