#include "transport/congestion/delivery_sampler.h"

#include <algorithm>

namespace VESK
{

namespace
{
// A rate over less time than this says more about the scheduling of both ends than about the line.
constexpr TimeUs minInterval = 1000;
} // namespace

DeliverySampler::DeliverySampler(Sequence first)
    : m_sent(first)
    , m_nextToArrive(first)
{
}

void DeliverySampler::onSent(TimeUs now)
{
    // With nothing under way, times count from here: the pause before is nobody's rate.
    if (m_sent.count() == 0) {
        m_firstSentUs = now;
        m_deliveredAtUs = now;
        m_isRestart = true;
    }
    SentPacket &packet = m_sent.append();
    packet.sentUs = now;
    packet.firstSentUs = m_firstSentUs;
    packet.deliveredAtUs = m_deliveredAtUs;
    packet.deliveredClockUs = m_deliveredClockUs;
    packet.delivered = m_delivered;
    packet.isAppLimited = m_delivered < m_appLimitedUntil;
    ++m_sentTotal;
}

void DeliverySampler::onPause(int inFlight)
{
    m_appLimitedUntil = m_delivered + static_cast<std::uint64_t>(inFlight) + 1;
}

bool DeliverySampler::onRepeated(Sequence sequence, TimeUs now)
{
    ++m_sentTotal;
    SentPacket *packet = m_sent.find(sequence);
    if (!packet)
        return false;
    packet->sentUs = now;
    packet->isRepeated = true;
    packet->isTakenForLost = false;
    return true;
}

bool DeliverySampler::isPossible(const Feedback &feedback) const
{
    const std::uint32_t arrived = feedback.received - m_received;
    const std::uint32_t clockStep = feedback.clockUs - m_clockUs;
    const bool isClockRight = m_isRestart || clockStep < (1U << 31);
    return arrived > 0 && arrived < (1U << 31) && isClockRight
        && sequenceOffset(feedback.highest, m_sent.next()) > 0
        && sequenceOffset(m_nextToArrive, feedback.highest) >= -1
        && sequenceOffset(feedback.complete, feedback.highest) >= -1;
}

void DeliverySampler::countArrivals(const Feedback &feedback, TimeUs now)
{
    // A line that doubles packets, and a peer that does not tell the truth, count for no more than was sent.
    const std::uint64_t arrived = feedback.received - m_received;
    m_delivered += std::min<std::uint64_t>(arrived, m_sentTotal - m_delivered);
    const TimeUs clockStep = static_cast<TimeUs>(feedback.clockUs - m_clockUs);
    m_deliveredClockUs += m_isRestart ? now - m_deliveredAtUs : clockStep;
    m_isRestart = false;
    m_received = feedback.received;
    m_clockUs = feedback.clockUs;
    m_deliveredAtUs = now;
}

void DeliverySampler::measureDelay(const Feedback &feedback, TimeUs sentUs, DeliverySample *sample)
{
    const std::uint32_t delay = feedback.clockUs - feedback.heldUs - static_cast<std::uint32_t>(sentUs);
    if (!m_hasDelayBase)
        m_delayBase = delay;
    sample->isFirstDelay = !m_hasDelayBase;
    sample->hasDelay = true;
    sample->delayUs = static_cast<std::int32_t>(delay - m_delayBase);
    m_hasDelayBase = true;
}

bool DeliverySampler::onFeedback(const Feedback &feedback, TimeUs now, DeliverySample *sample)
{
    if (!isPossible(feedback))
        return false;
    countArrivals(feedback, now);
    *sample = DeliverySample();
    sample->delivered = m_delivered;
    sample->clockUs = m_deliveredClockUs;
    m_nextToArrive = sequenceAfter(feedback.highest, 1);

    const SentPacket *const newest = m_sent.find(feedback.highest);
    if (!newest)
        return true;
    sample->deliveredBefore = newest->delivered;
    sample->isAppLimited = newest->isAppLimited;
    const TimeUs sending = newest->sentUs - newest->firstSentUs;
    const TimeUs arriving = m_deliveredClockUs - newest->deliveredClockUs;
    const TimeUs interval = std::max(sending, arriving);
    if (interval >= minInterval)
        sample->rate =
            static_cast<double>(m_delivered - newest->delivered) * 1e6 / static_cast<double>(interval);
    if (newest->isRepeated)
        return true;
    m_firstSentUs = newest->sentUs;
    m_newestDeliveredSentUs = newest->sentUs;
    measureDelay(feedback, newest->sentUs, sample);
    const TimeUs rtt = now - newest->sentUs - static_cast<TimeUs>(feedback.heldUs);
    if (rtt > 0)
        sample->rttUs = rtt;
    return true;
}

} // namespace VESK
