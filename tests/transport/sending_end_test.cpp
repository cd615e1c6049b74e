#include "transport/congestion/sending_end.h"

#include "transport/congestion/loss_report.h"

#include "tests/transport/sequences.h"

#include <gmock/gmock.h>

using namespace VESK;
using namespace VESK::Test;
using testing::ElementsAre;

namespace
{

constexpr TimeUs start = 7000000;
constexpr TimeUs rtt = 50000;

/// Sends `count` packets, 100 us apart.
void send(SendingEnd *end, Sequence first, int count, TimeUs begin)
{
    for (int i = 0; i < count; ++i)
        end->onSent(sequenceAfter(first, i), begin + i * 100);
}

bool tell(SendingEnd *end, std::uint32_t received, Sequence highest, Sequence complete, TimeUs now)
{
    Feedback feedback;
    feedback.received = received;
    feedback.highest = highest;
    feedback.complete = complete;
    feedback.clockUs = static_cast<std::uint32_t>(now);
    const Feedback::Words words = feedback.toWords();
    return end->onFeedback(words.data(), words.size(), now);
}

/// What a report leaves to be sent again.
std::vector<std::int32_t> repeated(SendingEnd *end, std::vector<std::int32_t> words, Sequence acknowledged,
                                   TimeUs now = start + rtt)
{
    end->onLossReport(words.data(), words.size(), now);
    words.erase(std::remove(words.begin(), words.end(), sequenceAfter(acknowledged, -1)), words.end());
    return words;
}

TEST(ASendingEnd, LeavesALibrarysReportAloneWithoutFeedback)
{
    SendingEnd end(100);
    send(&end, 100, 20, start);
    EXPECT_THAT(repeated(&end, {105}, 100), ElementsAre(105));
}

TEST(ASendingEnd, SilencesALibrarysReportOnceThereIsFeedback)
{
    SendingEnd end(100);
    send(&end, 100, 20, start);
    ASSERT_TRUE(tell(&end, 10, 110, 105, start + rtt));
    std::vector<std::int32_t> words{105};
    end.onLossReport(words.data(), words.size(), start + rtt);
    EXPECT_THAT(words, ElementsAre(99)); // before the first packet that waits
}

TEST(ASendingEnd, RepeatsWhatLaterPacketsHaveLeftBehind)
{
    SendingEnd end(100);
    send(&end, 100, 60, start);
    ASSERT_TRUE(tell(&end, 49, 150, 105, start + rtt));
    EXPECT_THAT(repeated(&end, {105, 105, 105}, 100), ElementsAre(105));
    EXPECT_EQ(end.lost(), 1U);
}

TEST(ASendingEnd, WaitsForWhatMayOnlyHaveBeenOvertaken)
{
    SendingEnd end(100);
    send(&end, 100, 60, start);
    ASSERT_TRUE(tell(&end, 49, 107, 105, start + rtt));
    EXPECT_TRUE(repeated(&end, {105, 105, 105}, 100).empty());
    EXPECT_EQ(end.lost(), 0U);
}

TEST(ASendingEnd, RepeatsOnceUntilTheRepetitionCouldHaveArrived)
{
    SendingEnd end(100);
    send(&end, 100, 60, start);
    ASSERT_TRUE(tell(&end, 49, 150, 105, start + rtt));
    ASSERT_THAT(repeated(&end, {105, 105, 105}, 100), ElementsAre(105));
    end.onSent(105, start + rtt + 100);
    EXPECT_TRUE(repeated(&end, {105, 105, 105}, 100).empty());
    EXPECT_EQ(end.lost(), 1U);

    send(&end, 160, 60, start + rtt + 200);
    ASSERT_TRUE(tell(&end, 100, 215, 105, start + 2 * rtt + 6000));
    EXPECT_THAT(repeated(&end, {105, 105, 105}, 100), ElementsAre(105));
    EXPECT_EQ(end.lost(), 2U);
}

TEST(ASendingEnd, KeepsWorkingAcrossTheWrap)
{
    constexpr Sequence first = 0x7FFFFFFF - 20;
    SendingEnd end(first);
    send(&end, first, 60, start);
    ASSERT_TRUE(tell(&end, 48, 30, 0x7FFFFFFF, start + rtt));
    const std::int32_t from = rangeFrom(highestSequence);
    EXPECT_THAT(repeated(&end, {from, 1, 1}, first), ElementsAre(from, 1));
    EXPECT_EQ(end.lost(), 3U);
    end.onAck(10, start + rtt);
    EXPECT_EQ(end.inFlight(), 8); // 31 to 38
}

TEST(ASendingEnd, NeverLeavesNumbersInAReportThatTheLibraryWouldTakeForAnAttack)
{
    SendingEnd end(100);
    send(&end, 100, 60, start);
    ASSERT_TRUE(tell(&end, 49, 150, 105, start + rtt));
    EXPECT_TRUE(repeated(&end, {160, 5000, 90}, 100).empty()); // not sent
    EXPECT_TRUE(repeated(&end, {rangeFrom(120), 110, rangeFrom(120)}, 100).empty()); // backwards, cut off
    EXPECT_THAT(repeated(&end, {rangeFrom(50), 101, rangeFrom(140), 9999, 9999}, 100),
                ElementsAre(rangeFrom(100), 101, rangeFrom(140), 145));
}

TEST(ASendingEnd, IsKeptBusyByNoEndlessReports)
{
    constexpr int window = 20000;
    SendingEnd end(100);
    send(&end, 100, window, start);
    const std::vector<std::int32_t> everything{static_cast<std::int32_t>(100U | LossReport::rangeFlag),
                                               100 + window - 1};
    const TimeUs now = start + window * 100 + rtt;
    int heeded = 0;
    for (int report = 0; report < 1000; ++report)
        heeded += repeated(&end, everything, 100, now + report) == everything ? 1 : 0;
    EXPECT_GT(heeded, 0);
    EXPECT_LT(heeded, 10);
    EXPECT_EQ(repeated(&end, everything, 100, now + 1000000), everything) << "from one that calmed down";
}

TEST(ASendingEnd, HeedsAnHonestPeerThatMissesMuch)
{
    constexpr int window = 20000;
    constexpr TimeUs reportInterval = 4000;
    SendingEnd end(100);
    send(&end, 100, window, start);
    const std::vector<std::int32_t> most{static_cast<std::int32_t>(100U | LossReport::rangeFlag), 12099};
    const TimeUs now = start + window * 100 + rtt;
    for (int report = 0; report < 50; ++report)
        ASSERT_EQ(repeated(&end, most, 100, now + report * reportInterval), most) << report;
}

TEST(ASendingEnd, GreetsAReceiverThatDoesNotKnowIt)
{
    SendingEnd end(100);
    EXPECT_FALSE(end.isGreetingDue());
    send(&end, 100, 10, start);
    ASSERT_TRUE(tell(&end, 5, 104, 105, start + rtt));
    EXPECT_TRUE(end.isGreetingDue());
    Feedback feedback;
    feedback.received = 6;
    feedback.highest = 105;
    feedback.complete = 106;
    feedback.clockUs = static_cast<std::uint32_t>(start + 2 * rtt);
    feedback.knowsSender = true;
    const Feedback::Words words = feedback.toWords();
    ASSERT_TRUE(end.onFeedback(words.data(), words.size(), start + 2 * rtt));
    EXPECT_FALSE(end.isGreetingDue());
}

TEST(ASendingEnd, RefusesFeedbackThatCannotBeTrue)
{
    SendingEnd end(100);
    send(&end, 100, 10, start);
    EXPECT_FALSE(tell(&end, 5, 200, 100, start + rtt));
    EXPECT_FALSE(tell(&end, 0, 105, 100, start + rtt));
    EXPECT_FALSE(end.onFeedback(nullptr, 0, start));
    EXPECT_FALSE(end.hasFeedback());
}

TEST(ASendingEnd, LivesOnAcknowledgementsWhereThereIsNoFeedback)
{
    SendingEnd end(0);
    Sequence sent = 0;
    for (TimeUs time = 0; time < 2000000; time += 100) {
        end.onSent(sent++, start + time);
        if (time >= rtt && time % 10000 == 0)
            end.onAck(static_cast<Sequence>((time - rtt) / 100), start + time);
    }
    EXPECT_NEAR(end.model().deliveryRate(), 10000, 1500);
    EXPECT_NEAR(static_cast<double>(end.model().minRttUs()), static_cast<double>(rtt), 2000);
}

TEST(ASendingEnd, SlowsDownWhenNothingIsHeard)
{
    SendingEnd end(0);
    send(&end, 0, 1000, start);
    ASSERT_TRUE(tell(&end, 500, 499, 500, start + 2 * rtt));
    const double before = end.sendPeriodUs();
    end.onSilence();
    EXPECT_GE(end.sendPeriodUs(), 4 * before);
}

TEST(ASendingEnd, GivesAWindowThatGapsDoNotUseUp)
{
    SendingEnd end(0);
    send(&end, 0, 1000, start);
    ASSERT_TRUE(tell(&end, 998, 998, 1, start + 2 * rtt));
    const double room = end.congestionWindow() - 1000; // all 1,000 wait for packet 1
    EXPECT_GE(room, end.model().window() - 10);
}

} // namespace
