#include "transport/congestion/receiving_end.h"

#include <gmock/gmock.h>

using namespace VESK;
using testing::ElementsAre;
using testing::SizeIs;

namespace
{

constexpr TimeUs roundTrip = 100000;
constexpr TimeUs firstArrival = 1000000;

TEST(AReceivingEnd, TellsTheSenderOfTheFirstPacketAtOnce)
{
    ReceivingEnd end(10);
    EXPECT_FALSE(end.isFeedbackDue(firstArrival));
    end.onArrival(10, firstArrival, roundTrip);
    ASSERT_TRUE(end.isFeedbackDue(firstArrival));
    const Feedback feedback = end.feedback(firstArrival);
    EXPECT_EQ(feedback.received, 1U);
    EXPECT_EQ(feedback.highest, 10);
    EXPECT_EQ(feedback.complete, 11);
    EXPECT_FALSE(end.isFeedbackDue(firstArrival + 100));
}

TEST(AReceivingEnd, TellsItEveryFewMillisecondsAndEvery128Packets)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 0; sequence < 100; ++sequence)
        end.onArrival(sequence, firstArrival, roundTrip);
    (void)end.feedback(firstArrival);
    end.onArrival(100, firstArrival + 2900, roundTrip);
    EXPECT_FALSE(end.isFeedbackDue(firstArrival + 2900));
    end.onArrival(101, firstArrival + 3000, roundTrip);
    EXPECT_TRUE(end.isFeedbackDue(firstArrival + 3000));
    (void)end.feedback(firstArrival + 3000);
    for (Sequence sequence = 102; sequence < 229; ++sequence) {
        end.onArrival(sequence, firstArrival + 3001, roundTrip);
        EXPECT_FALSE(end.isFeedbackDue(firstArrival + 3001)) << sequence;
    }
    end.onArrival(229, firstArrival + 3001, roundTrip);
    EXPECT_TRUE(end.isFeedbackDue(firstArrival + 3001));
}

TEST(AReceivingEnd, TellsItEvery8PacketsOfAShortBurst)
{
    ReceivingEnd end(0);
    end.onArrival(0, firstArrival, roundTrip);
    (void)end.feedback(firstArrival);
    for (Sequence sequence = 1; sequence < 8; ++sequence) {
        end.onArrival(sequence, firstArrival + 1, roundTrip);
        EXPECT_FALSE(end.isFeedbackDue(firstArrival + 1)) << sequence;
    }
    end.onArrival(8, firstArrival + 1, roundTrip);
    EXPECT_TRUE(end.isFeedbackDue(firstArrival + 1));
}

TEST(AReceivingEnd, SaysHowLongItHasHeldTheHighestPacket)
{
    ReceivingEnd end(0);
    end.onArrival(0, firstArrival, roundTrip);
    end.onArrival(5, firstArrival + 500, roundTrip);
    end.onArrival(2, firstArrival + 2000, roundTrip);
    const Feedback feedback = end.feedback(firstArrival + 2100);
    EXPECT_EQ(feedback.highest, 5);
    EXPECT_EQ(feedback.heldUs, 1600U);
    EXPECT_EQ(feedback.clockUs, static_cast<std::uint32_t>(firstArrival + 2000));
    EXPECT_EQ(feedback.received, 3U);
    EXPECT_EQ(feedback.complete, 1);
}

TEST(AReceivingEnd, ReportsMissingPacketsAgainAndAgain)
{
    ReceivingEnd end(0);
    end.onGreeting();
    end.onArrival(0, firstArrival, roundTrip);
    EXPECT_FALSE(end.isLossReportDue(firstArrival + 10000));
    end.onArrival(2, firstArrival, roundTrip);
    ASSERT_TRUE(end.isLossReportDue(firstArrival));
    EXPECT_THAT(end.lossReport(firstArrival), ElementsAre(1, 1, 1));
    EXPECT_FALSE(end.isLossReportDue(firstArrival + 1000));
    EXPECT_TRUE(end.isLossReportDue(firstArrival + 10000));
    EXPECT_THAT(end.lossReport(firstArrival + 10000), ElementsAre(1, 1, 1));
    end.onArrival(1, firstArrival + 10000, roundTrip);
    EXPECT_FALSE(end.isLossReportDue(firstArrival + 100000));
}

TEST(AReceivingEnd, LeavesReportsToTheLibraryUntilTheSenderHasGreeted)
{
    ReceivingEnd end(0);
    end.onArrival(5, firstArrival, roundTrip);
    EXPECT_FALSE(end.isLossReportDue(firstArrival + 100000));
    EXPECT_FALSE(end.feedback(firstArrival).knowsSender);
    end.onGreeting();
    EXPECT_TRUE(end.isLossReportDue(firstArrival + 100000));
    EXPECT_TRUE(end.feedback(firstArrival).knowsSender);
}

TEST(AReceivingEnd, LimitsAReportToWhatASmallPacketHolds)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 1; sequence < 2000; sequence += 2)
        end.onArrival(sequence, firstArrival, roundTrip);
    EXPECT_THAT(end.lossReport(firstArrival), SizeIs(testing::AllOf(testing::Ge(90U), testing::Le(100U))));
}

TEST(AReceivingEnd, TellsOvertakenPacketsFromRepeatedOnes)
{
    ReceivingEnd end(0);
    end.onArrival(3, firstArrival, roundTrip);
    end.onArrival(1, firstArrival + 1500, roundTrip);
    EXPECT_EQ(end.feedback(firstArrival + 2000).reorderUs, 1500U);
    end.onArrival(2, firstArrival + roundTrip, roundTrip);
    EXPECT_EQ(end.feedback(firstArrival + roundTrip).reorderUs, 1500U);
}

TEST(AReceivingEnd, AcknowledgesTheLastPacketOfABurstAtOnceAndTheOthersSeldom)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 0; sequence < 8; ++sequence) {
        end.onArrival(sequence, firstArrival + sequence, roundTrip);
        EXPECT_GE(end.ackInterval(), 8);
    }
    end.onArrival(8, firstArrival + 8, roundTrip, true);
    EXPECT_EQ(end.ackInterval(), 1);
}

TEST(AReceivingEnd, AcknowledgesWhatFillsTheLastGapAtOnce)
{
    ReceivingEnd end(0);
    TimeUs now = firstArrival;
    for (Sequence sequence = 0; sequence < 1000; ++sequence, now += 10)
        if (sequence != 900)
            end.onArrival(sequence, now, roundTrip, sequence == 999);
    end.onArrival(900, now + roundTrip, roundTrip);
    EXPECT_EQ(end.ackInterval(), 1);
}

TEST(AReceivingEnd, AcknowledgesTheLastPacketOfALongTransferAtOnce)
{
    ReceivingEnd end(0);
    for (Sequence sequence = 0; sequence < 5000; ++sequence)
        end.onArrival(sequence, firstArrival + sequence * 10, roundTrip, sequence == 4999);
    EXPECT_EQ(end.ackInterval(), 1);
}

TEST(AReceivingEnd, AcknowledgesFastStreamsSeldom)
{
    ReceivingEnd end(0);
    TimeUs now = firstArrival;
    Sequence sequence = 0;
    for (; sequence < 5000; ++sequence, now += 10)
        end.onArrival(sequence, now, roundTrip);
    EXPECT_GT(end.ackInterval(), 16);
    EXPECT_LT(end.ackInterval(), 64);
}

TEST(AReceivingEnd, AcknowledgesSlowStreamsOften)
{
    ReceivingEnd end(0);
    TimeUs now = firstArrival;
    for (Sequence sequence = 0; sequence < 1000; ++sequence, now += 2000)
        end.onArrival(sequence, now, roundTrip);
    EXPECT_LE(end.ackInterval(), 3);
}

TEST(AReceivingEnd, DoesNotCountPacketsThatCannotBe)
{
    ReceivingEnd end(0);
    end.onArrival(1 << 26, firstArrival, roundTrip);
    EXPECT_FALSE(end.isFeedbackDue(firstArrival));
    EXPECT_FALSE(end.isLossReportDue(firstArrival));
}

} // namespace
