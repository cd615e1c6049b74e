#pragma once

#include "transport/congestion/delivery_sampler.h"
#include "transport/congestion/windowed_filter.h"

namespace VESK
{

/// How long packets take, and how much of that they wait before the line. Knows no clock. For one thread at a
/// time.
class QueueMeter
{
public:
    QueueMeter();

    void onSample(const DeliverySample &sample, TimeUs now);
    void endRound();

    TimeUs minRttUs() const { return m_minRtt; } ///< 0 before it is known
    TimeUs rttUs() const { return m_smoothedRtt; } ///< 0 before it is known
    TimeUs smoothedUs() const { return m_smoothed; } ///< the queue, smoothed as the round-trip time is
    TimeUs latestUs() const { return m_latest; } ///< smoothed over a few feedbacks only
    TimeUs standingUs() const { return m_standing; } ///< the shortest of the last round
    TimeUs standingBeforeUs() const { return m_standingBefore; } ///< of the one before that

    /// The shortest of the last moment, and the rate at which packets arrived in it, per second.
    TimeUs ofMomentUs() const { return m_ofMoment; }
    double arrivalRate() const { return m_arrivalRate; }

    /// Is there one beyond what threads and clocks make up?
    bool isThere() const;

    /// When the line was seen without a queue.
    TimeUs emptySeen() const { return m_emptySeen; }
    void noteEmpty(TimeUs now) { m_emptySeen = now; }

    /// Round-trip times vary by so much without a queue.
    static constexpr TimeUs noise = 3000;

private:
    void updateRtt(const DeliverySample &sample, TimeUs now);
    void updateArrivalRate(const DeliverySample &sample);

    TimeUs m_minRtt = 0;
    TimeUs m_smoothedRtt = 0;
    TimeUs m_emptySeen = 0;
    WindowedMax m_minDelay; // of -delay, by time
    TimeUs m_smoothed = 0;
    TimeUs m_latest = 0;
    TimeUs m_sample = 0; // the last sample's, not smoothed

    TimeUs m_roundMin = -1; // of the round that runs; -1 before it is known
    TimeUs m_standing = 0;
    TimeUs m_standingBefore = 0;

    TimeUs m_momentMin = 0; // of the moment that runs
    TimeUs m_ofMoment = 0;
    double m_arrivalRate = 0;
    TimeUs m_momentStart = 0; // on the receiver's clock
    std::uint64_t m_deliveredAtMoment = 0;
};

} // namespace VESK
