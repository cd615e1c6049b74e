#pragma once

#include "transport/congestion/feedback.h"
#include "transport/congestion/sent_packets.h"

namespace VESK
{

/// What one feedback says about the line.
struct DeliverySample {
    double rate = 0; ///< packets per second that arrived; 0 when it cannot be told
    TimeUs rttUs = 0; ///< 0 when it cannot be told
    TimeUs clockUs = 0; ///< the receiver's clock
    /// From sending to arrival, by both ends' clocks, less the first such time: only its changes mean
    /// something. What delays the way back is not in it.
    TimeUs delayUs = 0;
    bool hasDelay = false;
    bool isFirstDelay = false; ///< those before were by other clocks
    std::uint64_t delivered = 0; ///< packets known to have arrived, in total
    std::uint64_t deliveredBefore = 0; ///< the same when the newest of them was sent
    bool isAppLimited = false; ///< there was not enough to send: the line can do more
};

/// Takes rates and round-trip times from when packets were sent and when they arrived. A rate is counted over
/// a round trip, between two arrivals on the receiver's clock, so that bunching of what comes back does not
/// blur it; and is never above the rate of sending. For one thread at a time.
class DeliverySampler
{
public:
    explicit DeliverySampler(Sequence first = 0);

    /// A new packet leaves.
    void onSent(TimeUs now);
    /// There was a pause for want of data, with so many packets under way: what is sent until these have
    /// arrived says nothing about what the line can do.
    void onPause(int inFlight);
    /// A packet leaves once more. False when it is none of those that wait for acknowledgement.
    bool onRepeated(Sequence sequence, TimeUs now);

    /// All packets before `next` have arrived.
    void acknowledge(Sequence next) { m_sent.acknowledge(next); }

    /// False, and nothing changed, when the feedback cannot be true or is older than the last.
    bool onFeedback(const Feedback &feedback, TimeUs now, DeliverySample *sample);

    /// What follows counts time on another clock of the receiver's.
    void changeClock()
    {
        m_isRestart = true;
        m_hasDelayBase = false;
    }

    /// When the newest packet of those that have arrived was sent; 0 before there is one.
    TimeUs newestDeliveredSentUs() const { return m_newestDeliveredSentUs; }
    /// The packet after the highest one that has arrived.
    Sequence nextToArrive() const { return m_nextToArrive; }
    std::uint64_t delivered() const { return m_delivered; }
    std::uint64_t sentTotal() const { return m_sentTotal; }
    SentPackets &packets() { return m_sent; }
    const SentPackets &packets() const { return m_sent; }

private:
    bool isPossible(const Feedback &feedback) const;
    void measureDelay(const Feedback &feedback, TimeUs sentUs, DeliverySample *sample);
    void countArrivals(const Feedback &feedback, TimeUs now);

    SentPackets m_sent;
    std::uint64_t m_sentTotal = 0;
    std::uint64_t m_delivered = 0;
    std::uint64_t m_appLimitedUntil = 0; // in packets delivered
    TimeUs m_deliveredAtUs = 0;
    TimeUs m_deliveredClockUs = 0; // advances as the receiver's clock does
    bool m_isRestart = true; // nothing was under way: the next step is taken from this end's clock
    std::uint32_t m_delayBase = 0; // microseconds, modulo 2^32
    bool m_hasDelayBase = false;
    std::uint32_t m_received = 0; // of the last feedback
    std::uint32_t m_clockUs = 0; // of the last feedback
    TimeUs m_firstSentUs = 0;
    TimeUs m_newestDeliveredSentUs = 0;
    Sequence m_nextToArrive;
};

} // namespace VESK
