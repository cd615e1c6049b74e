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
    for (const double moment : {1.8, 1.9, 2.0, 2.1, 2.2}) { // in different phases
        SimulatedLine line({10000, 50000, 100000});
        line.run(moment);
        line.settings.packetsPerSecond = 2500;
        line.run(3);
        line.forgetLongestQueue();
        EXPECT_GT(useOf(&line, 1, 3), 0.9) << moment;
        EXPECT_LT(line.longestQueueUs(), 80000) << moment;
    }
}

TEST(ALineThatSpeedsUp, IsFollowed)
{
    SimulatedLine line({2500, 50000, 100000});
    line.run(2);
    line.settings.packetsPerSecond = 10000;
    line.run(3);
    EXPECT_GT(useOf(&line, 1, 3), 0.9);
}

/// One packet and eight packets in turn, as small files need them, each time when the answer to what was sent
/// before has come.
void sendMessages(SimulatedLine *line, int count)
{
    line->flow(0).end = line->flow(0).next;
    for (int i = 0; i < count; ++i) {
        line->flow(0).end += i % 2 == 0 ? 1 : 8;
        line->run(1.2e-6 * static_cast<double>(line->settings.rttUs));
    }
}

TEST(AShortBurst, LeavesAtOnceAfterShortMessages)
{
    SimulatedLine line({10000, 50000, 50000});
    sendMessages(&line, 40);
    const std::uint64_t before = line.flow(0).sent;
    line.flow(0).end += 16;
    line.run(0.005);
    EXPECT_EQ(line.flow(0).sent - before, 16U);
}

TEST(AShortBurst, FloodsTheLineNoMoreThanANewConnectionWhenItTurnsOutToBeLong)
{
    const LineSettings settings{1000, 50000, 200000};
    SimulatedLine fresh(settings);
    fresh.flow(0).end = 2000;
    fresh.run(1);
    SimulatedLine line(settings);
    line.run(3);
    sendMessages(&line, 20);
    line.forgetLongestQueue();
    line.flow(0).end += 2000;
    line.run(1);
    EXPECT_LE(line.longestQueueUs(), fresh.longestQueueUs());
}

TEST(ALongTransfer, IsNotHeldUpByShortMessagesBefore)
{
    SimulatedLine line({10000, 50000, 50000});
    sendMessages(&line, 100);
    line.flow(0).end = std::numeric_limits<int>::max();
    line.run(0.5);
    EXPECT_GT(useOf(&line, 1, 2), 0.95);
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
