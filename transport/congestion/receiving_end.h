#pragma once

#include "transport/congestion/feedback.h"
#include "transport/congestion/missing_packets.h"

namespace VESK
{

/// The receiver's half of the congestion control: counts what arrives, and says when to tell the sender.
/// Knows no socket and no clock. For one thread.
class ReceivingEnd
{
public:
    /// `first` is the first packet that the peer is going to send.
    explicit ReceivingEnd(Sequence first = 0);

    /// A packet has arrived. `rttUs` is the round-trip time as far as it is known here; `isLast`: it is the
    /// last one of what the sender's program handed over at a time.
    void onArrival(Sequence sequence, TimeUs now, TimeUs rttUs, bool isLast = false);

    /// The sender has greeted (feedback.h): it takes loss reports that repeat what UDT has reported.
    void onGreeting() { m_knowsSender = true; }

    /// Is it time for a feedback? `feedback` makes it.
    bool isFeedbackDue(TimeUs now) const;
    Feedback feedback(TimeUs now);

    /// Is it time for a list of what is missing? `lossReport` makes it: words as in a loss report of
    /// UDT's, and at least three of them, by which the sender knows it from UDT's own.
    bool isLossReportDue(TimeUs now) const;
    std::vector<std::int32_t> lossReport(TimeUs now);

    /// After how many packets UDT should acknowledge.
    int ackInterval() const { return m_ackInterval; }

private:
    void updateBurst(TimeUs now);
    int ackIntervalFor(MissingPackets::Arrival arrival, bool isLast, TimeUs rttUs) const;
    void noteReordering(TimeUs lateness, TimeUs rttUs);

    MissingPackets m_missing;
    bool m_hasStarted = false;
    bool m_knowsSender = false;
    std::uint32_t m_received = 0;
    TimeUs m_lastArrival = 0;
    TimeUs m_highestArrival = 0;
    TimeUs m_reorder = 0;
    TimeUs m_lastReordering = 0;

    TimeUs m_lastFeedback = 0;
    std::uint32_t m_receivedAtFeedback = 0;
    TimeUs m_lastReport = 0;

    int m_burst = 0; // packets since the last pause
    double m_gapUs = 1000; // between arrivals, smoothed
    int m_ackInterval = 1;
};

} // namespace VESK
