#include "transport/congestion/delivery_sampler.h"

#include <gtest/gtest.h>

using namespace VESK;

namespace
{

constexpr TimeUs senderStart = 5000000;
constexpr std::uint32_t receiverStart = 0xFFFFFF00; // its clock wraps soon

/// Sends a packet every `periodUs`, and tells of each a fixed time later.
class SteadyLine
{
public:
    explicit SteadyLine(Sequence first)
        : sampler(first)
        , m_first(first)
    {
    }

    DeliverySample run(int packets, TimeUs periodUs, TimeUs rttUs)
    {
        DeliverySample sample;
        const TimeUs begin = senderStart + m_time;
        int told = 0;
        for (TimeUs time = 0; told < packets; time += 10) {
            if (time % periodUs == 0 && time / periodUs < packets)
                sampler.onSent(begin + time);
            if (time >= rttUs && (time - rttUs) % periodUs == 0) {
                EXPECT_TRUE(sampler.onFeedback(feedbackOf(m_sent + told, begin + time - rttUs / 2),
                                               begin + time, &sample));
                ++told;
            }
            m_time = begin + time - senderStart;
        }
        m_sent += packets;
        return sample;
    }

    Feedback feedbackOf(int index, TimeUs arrival) const
    {
        Feedback feedback;
        feedback.received = static_cast<std::uint32_t>(index + 1);
        feedback.highest = sequenceAfter(m_first, index);
        feedback.complete = sequenceAfter(m_first, index + 1);
        feedback.clockUs = receiverStart + static_cast<std::uint32_t>(arrival);
        return feedback;
    }

    DeliverySampler sampler;

private:
    Sequence m_first;
    int m_sent = 0;
    TimeUs m_time = 0;
};

TEST(ADeliverySampler, FindsTheRateAndTheRoundTripTime)
{
    SteadyLine line(0);
    const DeliverySample sample = line.run(2000, 100, 40000);
    EXPECT_NEAR(sample.rate, 10000, 100);
    EXPECT_EQ(sample.rttUs, 40000);
    EXPECT_EQ(sample.delivered, 2000U);
    EXPECT_FALSE(sample.isAppLimited);
}

TEST(ADeliverySampler, FindsThemAcrossTheWrapOfNumbers)
{
    SteadyLine line(0x7FFFFFFF - 1000);
    const DeliverySample sample = line.run(2000, 100, 40000);
    EXPECT_NEAR(sample.rate, 10000, 100);
    EXPECT_EQ(sample.rttUs, 40000);
}

TEST(ADeliverySampler, TakesOffTheTimeThatTheReceiverHeldAPacket)
{
    DeliverySampler sampler(0);
    sampler.onSent(senderStart);
    Feedback feedback;
    feedback.received = 1;
    feedback.complete = 1;
    feedback.heldUs = 3000;
    DeliverySample sample;
    ASSERT_TRUE(sampler.onFeedback(feedback, senderStart + 23000, &sample));
    EXPECT_EQ(sample.rttUs, 20000);
}

TEST(ADeliverySampler, TakesNoRoundTripTimeFromRepeatedPackets)
{
    DeliverySampler sampler(0);
    sampler.onSent(senderStart);
    EXPECT_TRUE(sampler.onRepeated(0, senderStart + 10000));
    Feedback feedback;
    feedback.received = 1;
    feedback.complete = 1;
    DeliverySample sample;
    ASSERT_TRUE(sampler.onFeedback(feedback, senderStart + 11000, &sample));
    EXPECT_EQ(sample.rttUs, 0);
}

TEST(ADeliverySampler, RepeatsOnlyWhatWaitsForAcknowledgement)
{
    DeliverySampler sampler(0);
    sampler.onSent(senderStart);
    sampler.onSent(senderStart + 100);
    EXPECT_FALSE(sampler.onRepeated(2, senderStart + 10000)) << "it was never sent";
    sampler.acknowledge(1);
    EXPECT_FALSE(sampler.onRepeated(0, senderStart + 10000)) << "it has arrived";
    EXPECT_TRUE(sampler.onRepeated(1, senderStart + 10000));
}

TEST(ADeliverySampler, MarksWhatWasSentAfterAPause)
{
    SteadyLine line(0);
    (void)line.run(500, 100, 20000);
    line.sampler.onPause(3);
    const DeliverySample sample = line.run(4, 100, 20000);
    EXPECT_TRUE(sample.isAppLimited);
}

TEST(ADeliverySampler, RefusesWhatCannotBeTrue)
{
    SteadyLine line(0);
    (void)line.run(100, 100, 20000);
    for (int i = 0; i < 10; ++i)
        line.sampler.onSent(senderStart + 100000 + i);
    const TimeUs now = senderStart + 200000;
    const Feedback good = line.feedbackOf(105, now);
    DeliverySample sample;

    Feedback unsent = good;
    unsent.highest = 110;
    EXPECT_FALSE(line.sampler.onFeedback(unsent, now, &sample));
    Feedback old = good;
    old.highest = 90;
    EXPECT_FALSE(line.sampler.onFeedback(old, now, &sample));
    Feedback nothingNew = good;
    nothingNew.received = 100;
    EXPECT_FALSE(line.sampler.onFeedback(nothingNew, now, &sample));
    Feedback less = good;
    less.received = 50;
    EXPECT_FALSE(line.sampler.onFeedback(less, now, &sample));
    Feedback contradiction = good;
    contradiction.complete = 108;
    EXPECT_FALSE(line.sampler.onFeedback(contradiction, now, &sample));
    EXPECT_EQ(line.sampler.delivered(), 100U);
    EXPECT_TRUE(line.sampler.onFeedback(good, now, &sample));
    EXPECT_EQ(sample.delivered, 106U);
}

TEST(ADeliverySampler, CountsNoMoreThanWasSent)
{
    SteadyLine line(0);
    (void)line.run(100, 100, 20000);
    line.sampler.onSent(senderStart + 100000);
    Feedback feedback = line.feedbackOf(100, senderStart + 120000);
    feedback.received = 1000000;
    DeliverySample sample;
    ASSERT_TRUE(line.sampler.onFeedback(feedback, senderStart + 120000, &sample));
    EXPECT_EQ(sample.delivered, 101U);
}

TEST(ADeliverySampler, RefusesAReceiverWhoseClockGoesBack)
{
    SteadyLine line(0);
    (void)line.run(100, 100, 20000);
    for (int i = 0; i < 10; ++i)
        line.sampler.onSent(senderStart + 50000 + i);
    DeliverySample sample;
    ASSERT_TRUE(
        line.sampler.onFeedback(line.feedbackOf(102, senderStart + 60000), senderStart + 60000, &sample));
    EXPECT_FALSE(
        line.sampler.onFeedback(line.feedbackOf(103, senderStart + 59000), senderStart + 60100, &sample));
}

} // namespace
