#pragma once

#include "transport/congestion/sequence.h"

#include <cstddef>
#include <vector>

namespace VESK
{

/// What is remembered of a packet from when it was sent until it is acknowledged.
struct SentPacket {
    TimeUs sentUs = 0; ///< the last time
    TimeUs firstSentUs = 0; ///< when the packet was sent that had arrived as the latest then
    TimeUs deliveredAtUs = 0; ///< when that arrival became known
    TimeUs deliveredClockUs = 0; ///< the same, on the receiver's clock
    std::uint64_t delivered = 0; ///< packets that were known to have arrived then
    Sequence sequence = -1;
    bool isRepeated = false; ///< sent more than once
    bool isTakenForLost = false; ///< and waits to be sent again
    bool isAppLimited = false; ///< sent while there was not enough to send
};

/// The packets that were sent and are not acknowledged. Takes memory as the window grows, up to 2.4 MB; of a
/// window of more than 32,768 packets only the newest are remembered.
class SentPackets
{
public:
    explicit SentPackets(Sequence first = 0);

    /// The record of the next new packet, to be filled in.
    SentPacket &append();

    /// The record of a packet, or null when it was not sent, or is acknowledged or forgotten.
    SentPacket *find(Sequence sequence);

    /// All packets before `next` have arrived. Numbers out of range are ignored.
    void acknowledge(Sequence next);

    Sequence first() const { return m_first; } ///< not acknowledged yet
    Sequence next() const { return m_next; } ///< the one that will be sent next
    int count() const { return sequenceOffset(m_first, m_next); }

private:
    SentPacket &slot(Sequence sequence);
    void grow();

    Sequence m_first;
    Sequence m_next;
    std::vector<SentPacket> m_ring; // a power of two
};

} // namespace VESK
