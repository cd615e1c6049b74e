#include "transport/congestion/queue_meter.h"

#include <algorithm>

namespace VESK
{

namespace
{

constexpr TimeUs minMoment = 12000; // the library may sleep for 10 ms and send what was due then at once
constexpr TimeUs emptyQueue = 1000;
constexpr TimeUs minDelayMemory = 15000000; // clocks drift

} // namespace

QueueMeter::QueueMeter()
    : m_minDelay(minDelayMemory)
{
}

void QueueMeter::onSample(const DeliverySample &sample, TimeUs now)
{
    updateRtt(sample, now);
    updateArrivalRate(sample);
}

void QueueMeter::updateRtt(const DeliverySample &sample, TimeUs now)
{
    const TimeUs rtt = sample.rttUs;
    if (rtt <= 0 || !sample.hasDelay)
        return;
    m_smoothedRtt = m_smoothedRtt == 0 ? rtt : m_smoothedRtt + (rtt - m_smoothedRtt) / 8;
    if (m_minRtt == 0 || rtt < m_minRtt)
        m_minRtt = rtt;

    const auto delay = static_cast<double>(sample.delayUs);
    if (sample.isFirstDelay)
        m_minDelay.reset(-delay, now);
    m_minDelay.add(-delay, now);
    const auto queue = static_cast<TimeUs>(delay + m_minDelay.value());
    m_sample = queue;
    m_smoothed += (queue - m_smoothed) / 8;
    m_latest += (queue - m_latest) / 2;
    m_roundMin = m_roundMin < 0 ? queue : std::min(m_roundMin, queue);
    if (queue <= m_minRtt / 64 + emptyQueue) {
        m_emptySeen = now;
        m_minRtt += (rtt - m_minRtt) / 256; // the way may have become longer
    }
}

void QueueMeter::updateArrivalRate(const DeliverySample &sample)
{
    const std::uint64_t arrived = sample.delivered - m_deliveredAtMoment;
    const TimeUs time = sample.clockUs - m_momentStart;
    m_momentMin = std::min(m_momentMin, m_sample);
    if (time < std::max(minMoment, m_minRtt / 8))
        return;
    m_ofMoment = m_momentMin;
    m_momentMin = m_sample;
    m_arrivalRate = static_cast<double>(arrived) * 1e6 / static_cast<double>(time);
    m_deliveredAtMoment = sample.delivered;
    m_momentStart = sample.clockUs;
}

void QueueMeter::endRound()
{
    // Its shortest time: the longer ones may be those that the threads of both ends had to wait for.
    m_standingBefore = m_standing;
    m_standing = m_roundMin < 0 ? m_standing : m_roundMin;
    m_roundMin = -1;
}

bool QueueMeter::isThere() const
{
    return m_latest > m_minRtt / 8 + noise;
}

} // namespace VESK
