#include "transport/congestion/receiving_end.h"

#include <algorithm>
#include <cmath>

namespace VESK
{

namespace
{

// Often enough to follow a queue of some milliseconds, and 0.1 Mbit/s at most.
constexpr TimeUs feedbackInterval = 3000;
// At gigabits a queue fills within a fraction of that.
constexpr std::uint32_t feedbackPackets = 128;
// A short burst may end before the interval does, and the sender waits for word of it.
constexpr std::uint32_t feedbackPacketsOfBurst = 8;
constexpr TimeUs lossReportInterval = 4000;

// What fits into the smallest packet that is agreed on.
constexpr std::size_t maxReportWords = 100;

// After this time without a packet a new burst begins.
constexpr TimeUs pauseUs = 20000;
// UDT hands data to the reader when it acknowledges. Its timer is looked at only when a packet arrives, and
// 0.1 s after the last: so the packets after which the reader can go on are acknowledged at once.
constexpr int startOfBurst = 64;
constexpr int ackIntervalOfBurst = 8; // half of the smallest window that a sender may have
constexpr double ackEveryUs = 5000;
constexpr double minAckEveryUs = 1000;
// Below the 64 packets at which UDT adds short acknowledgements, of which the sender's end learns nothing.
constexpr int maxAckInterval = 48;

// The largest delay of an overtaken packet is forgotten by an eighth per second.
constexpr TimeUs reorderMemory = 1000000;

} // namespace

ReceivingEnd::ReceivingEnd(Sequence first)
    : m_missing(first)
{
}

void ReceivingEnd::onArrival(Sequence sequence, TimeUs now, TimeUs rttUs, bool isLast)
{
    const MissingPackets::Arrival arrival = m_missing.arrived(sequence, now);
    if (arrival == MissingPackets::Arrival::Impossible)
        return;
    updateBurst(now);
    m_ackInterval = ackIntervalFor(arrival, isLast, rttUs);
    m_hasStarted = true;
    ++m_received;
    m_lastArrival = now;
    if (arrival == MissingPackets::Arrival::Next || arrival == MissingPackets::Arrival::Beyond)
        m_highestArrival = now;
    if (arrival == MissingPackets::Arrival::Late)
        noteReordering(m_missing.lateness(), rttUs);
}

void ReceivingEnd::noteReordering(TimeUs lateness, TimeUs rttUs)
{
    // What was sent again takes a round trip; what comes sooner was overtaken on the way.
    if (lateness >= rttUs / 2)
        return;
    if (m_lastArrival - m_lastReordering > reorderMemory) {
        m_reorder -= m_reorder / 8;
        m_lastReordering = m_lastArrival;
    }
    m_reorder = std::max(m_reorder, lateness);
}

void ReceivingEnd::updateBurst(TimeUs now)
{
    const TimeUs gap = now - m_lastArrival;
    m_burst = !m_hasStarted || gap > pauseUs ? 1 : m_burst + 1;
    if (m_burst > startOfBurst)
        m_gapUs += (static_cast<double>(std::min(gap, pauseUs)) - m_gapUs) / 64;
}

int ReceivingEnd::ackIntervalFor(MissingPackets::Arrival arrival, bool isLast, TimeUs rttUs) const
{
    const bool hasFilledGap = arrival == MissingPackets::Arrival::Late && m_missing.isEmpty();
    if (isLast || hasFilledGap)
        return 1;
    if (m_burst <= startOfBurst)
        return m_missing.isEmpty() ? ackIntervalOfBurst : 1;
    // An acknowledgement is what wakes a sender whose window is full, and its window is more than this time.
    const double every = std::min(ackEveryUs, static_cast<double>(rttUs) / 8 + minAckEveryUs);
    return static_cast<int>(std::clamp(every / std::max(m_gapUs, 1.0), 1.0, double(maxAckInterval)));
}

bool ReceivingEnd::isFeedbackDue(TimeUs now) const
{
    if (!m_hasStarted)
        return false;
    const std::uint32_t packets = m_burst <= startOfBurst ? feedbackPacketsOfBurst : feedbackPackets;
    return m_receivedAtFeedback == 0 || now - m_lastFeedback >= feedbackInterval
        || m_received - m_receivedAtFeedback >= packets;
}

Feedback ReceivingEnd::feedback(TimeUs now)
{
    m_lastFeedback = now;
    m_receivedAtFeedback = m_received;
    Feedback feedback;
    feedback.received = m_received;
    feedback.highest = sequenceAfter(m_missing.next(), -1);
    feedback.clockUs = static_cast<std::uint32_t>(m_lastArrival);
    feedback.heldUs = static_cast<std::uint32_t>(now - m_highestArrival);
    feedback.complete = m_missing.complete();
    feedback.reorderUs = static_cast<std::uint32_t>(m_reorder);
    feedback.knowsSender = m_knowsSender;
    return feedback;
}

bool ReceivingEnd::isLossReportDue(TimeUs now) const
{
    return m_knowsSender && !m_missing.isEmpty() && now - m_lastReport >= lossReportInterval;
}

std::vector<std::int32_t> ReceivingEnd::lossReport(TimeUs now)
{
    m_lastReport = now;
    std::vector<std::int32_t> words = m_missing.report(maxReportWords);
    // UDT takes a number that is there twice for one.
    while (!words.empty() && words.size() < LossReport::minWords)
        words.push_back(words.back());
    return words;
}

} // namespace VESK
