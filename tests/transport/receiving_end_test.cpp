#include "transport/congestion/receiving_end.h"

#include <gmock/gmock.h>

using namespace VESK;
using testing::ElementsAre;
using testing::SizeIs;

namespace
{

constexpr TimeUs rtt = 100000;
constexpr TimeUs start = 1000000;

TEST(AReceivingEnd, TellsTheSenderOfTheFirstPacketAtOnce)
{
    ReceivingEnd end(10);
    EXPECT_FALSE(end.isFeedbackDue(start));
    end.onArrival(10, start, rtt);
    ASSERT_TRUE(end.isFeedbackDue(start));
    const Feedback feedback = end.feedback(start);
    EXPECT_EQ(feedback.received, 1U);
    EXPECT_EQ(feedback.highest, 10);
    EXPECT_EQ(feedback.complete, 11);
    EXPECT_FALSE(end.isFeedbackDue(start + 100));
}

TEST(AReceivingEnd, TellsItEveryFewMillisecondsAndEvery128Packets)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 0; sequence < 100; ++sequence)
        end.onArrival(sequence, start, rtt);
    (void)end.feedback(start);
    end.onArrival(100, start + 2900, rtt);
    EXPECT_FALSE(end.isFeedbackDue(start + 2900));
    end.onArrival(101, start + 3000, rtt);
    EXPECT_TRUE(end.isFeedbackDue(start + 3000));
    (void)end.feedback(start + 3000);
    for (Sequence sequence = 102; sequence < 229; ++sequence) {
        end.onArrival(sequence, start + 3001, rtt);
        EXPECT_FALSE(end.isFeedbackDue(start + 3001)) << sequence;
    }
    end.onArrival(229, start + 3001, rtt);
    EXPECT_TRUE(end.isFeedbackDue(start + 3001));
}

TEST(AReceivingEnd, TellsItEvery8PacketsOfAShortBurst)
{
    ReceivingEnd end(0);
    end.onArrival(0, start, rtt);
    (void)end.feedback(start);
    for (Sequence sequence = 1; sequence < 8; ++sequence) {
        end.onArrival(sequence, start + 1, rtt);
        EXPECT_FALSE(end.isFeedbackDue(start + 1)) << sequence;
    }
    end.onArrival(8, start + 1, rtt);
    EXPECT_TRUE(end.isFeedbackDue(start + 1));
}

TEST(AReceivingEnd, SaysHowLongItHasHeldTheHighestPacket)
{
    ReceivingEnd end(0);
    end.onArrival(0, start, rtt);
    end.onArrival(5, start + 500, rtt);
    end.onArrival(2, start + 2000, rtt);
    const Feedback feedback = end.feedback(start + 2100);
    EXPECT_EQ(feedback.highest, 5);
    EXPECT_EQ(feedback.heldUs, 1600U);
    EXPECT_EQ(feedback.clockUs, static_cast<std::uint32_t>(start + 2000));
    EXPECT_EQ(feedback.received, 3U);
    EXPECT_EQ(feedback.complete, 1);
}

TEST(AReceivingEnd, ReportsMissingPacketsAgainAndAgain)
{
    ReceivingEnd end(0);
    end.onGreeting();
    end.onArrival(0, start, rtt);
    EXPECT_FALSE(end.isLossReportDue(start + 10000));
    end.onArrival(2, start, rtt);
    ASSERT_TRUE(end.isLossReportDue(start));
    EXPECT_THAT(end.lossReport(start), ElementsAre(1, 1, 1));
    EXPECT_FALSE(end.isLossReportDue(start + 1000));
    EXPECT_TRUE(end.isLossReportDue(start + 10000));
    EXPECT_THAT(end.lossReport(start + 10000), ElementsAre(1, 1, 1));
    end.onArrival(1, start + 10000, rtt);
    EXPECT_FALSE(end.isLossReportDue(start + 100000));
}

TEST(AReceivingEnd, LeavesReportsToTheLibraryUntilTheSenderHasGreeted)
{
    ReceivingEnd end(0);
    end.onArrival(5, start, rtt);
    EXPECT_FALSE(end.isLossReportDue(start + 100000));
    EXPECT_FALSE(end.feedback(start).knowsSender);
    end.onGreeting();
    EXPECT_TRUE(end.isLossReportDue(start + 100000));
    EXPECT_TRUE(end.feedback(start).knowsSender);
}

TEST(AReceivingEnd, LimitsAReportToWhatASmallPacketHolds)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 1; sequence < 2000; sequence += 2)
        end.onArrival(sequence, start, rtt);
    EXPECT_THAT(end.lossReport(start), SizeIs(testing::AllOf(testing::Ge(90U), testing::Le(100U))));
}

TEST(AReceivingEnd, TellsOvertakenPacketsFromRepeatedOnes)
{
    ReceivingEnd end(0);
    end.onArrival(3, start, rtt);
    end.onArrival(1, start + 1500, rtt);
    EXPECT_EQ(end.feedback(start + 2000).reorderUs, 1500U);
    end.onArrival(2, start + rtt, rtt);
    EXPECT_EQ(end.feedback(start + rtt).reorderUs, 1500U);
}

TEST(AReceivingEnd, AcknowledgesTheLastPacketOfABurstAtOnceAndTheOthersSeldom)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 0; sequence < 8; ++sequence) {
        end.onArrival(sequence, start + sequence, rtt);
        EXPECT_GE(end.ackInterval(), 8);
    }
    end.onArrival(8, start + 8, rtt, true);
    EXPECT_EQ(end.ackInterval(), 1);
}

TEST(AReceivingEnd, AcknowledgesWhatFillsTheLastGapAtOnce)
{
    ReceivingEnd end(0);
    TimeUs now = start;
    for (Sequence sequence = 0; sequence < 1000; ++sequence, now += 10)
        if (sequence != 900)
            end.onArrival(sequence, now, rtt, sequence == 999);
    end.onArrival(900, now + rtt, rtt);
    EXPECT_EQ(end.ackInterval(), 1);
}

TEST(AReceivingEnd, AcknowledgesTheLastPacketOfALongTransferAtOnce)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 0; sequence < 5000; ++sequence)
        end.onArrival(sequence, start + sequence * 10, rtt, sequence == 4999);
    EXPECT_EQ(end.ackInterval(), 1);
}

TEST(AReceivingEnd, AcknowledgesFastStreamsSeldom)
{
    ReceivingEnd end(0);
    TimeUs now = start;
    Sequence sequence = 0;
    for (; sequence < 5000; ++sequence, now += 10)
        end.onArrival(sequence, now, rtt);
    EXPECT_GT(end.ackInterval(), 16);
    EXPECT_LT(end.ackInterval(), 64);
}

TEST(AReceivingEnd, AcknowledgesSlowStreamsOften)
{
    ReceivingEnd end(0);
    TimeUs now = start;
    for (Sequence sequence = 0; sequence < 1000; ++sequence, now += 2000)
        end.onArrival(sequence, now, rtt);
    EXPECT_LE(end.ackInterval(), 3);
}

TEST(AReceivingEnd, DoesNotCountPacketsThatCannotBe)
{
    ReceivingEnd end(0);
    end.onArrival(1 << 26, start, rtt);
    EXPECT_FALSE(end.isFeedbackDue(start));
    EXPECT_FALSE(end.isLossReportDue(start));
}

} // namespace
